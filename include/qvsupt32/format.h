/* Formatted output: the library's own bounded printf.
 *
 * The engine knows the directives below and no others, formats the same in every locale, and allocates for %S only. It
 * looks like the printf(3) of the platform and differs from it on purpose; the table at the end of this comment lists
 * every difference. A format is trusted: never hand over one that comes from outside, since %n writes to memory.
 *
 * A directive is "%", then any of the following in any order and number, then one conversion. Of several widths or
 * precisions the last one counts; numbers beyond 2147483647 are taken as 2147483647.
 *
 *   -        left adjust: the padding goes to the right, and consists of spaces
 *   0        zero pad: zeros after the sign or prefix instead of spaces before it, unless left adjusted
 *   +        sign of a number that is not negative
 *   space    a space in the place of that sign, unless + is given
 *   #        alternate form, see the conversions
 *   1 to 9   start of the width, a decimal number: the smallest number of bytes that the field takes
 *   *        the width is the next int argument; a negative one stands for left adjust and its magnitude
 *   .        the precision is the decimal number that follows (none for 0), or with .* the next int argument; below 0
 *            there is none
 *   h        the integer has 16 bits, signed for d and i, else unsigned; %n stores 16 bits. Ignored beside l
 *   l        the integer has 32 bits, which it has without l as well
 *   L        nothing
 *
 *   d i D    int32_t in decimal (D as ld). The precision is a number of bytes that zeros fill up, and switches zero pad
 *            off; the value 0 with precision 0 has no digits. Both hold for o, u, x and p as well
 *   u U      uint32_t in decimal (U as lu)
 *   o O      uint32_t in octal (O as lo); # puts a 0 in front unless the first digit is one
 *   x X      uint32_t in hexadecimal, lower or upper case; # puts 0x or 0X before a value other than 0
 *   p        a pointer in hexadecimal, always with 0x
 *   c        the low byte of an int, a zero byte included
 *   s        const char *: bytes up to the terminator, at most as many as the precision says; with a precision that is
 *            reached the text needs no terminator. Null prints as (null), cut in the same way
 *   S        const SMChar16 *: a UCS-2 string as UTF-8; the precision counts bytes of the UTF-8 form. Null as for s.
 *            The text is converted as a whole before it is cut: one that is not valid, or for which there is no memory,
 *            ends the output before the directive, without a report
 *   f        double with the number of decimals that the precision says, 6 without one; # keeps the decimal point
 *   e E      double as d.ddde+dd, rounded to precision + 1 digits (7 without a precision), without trailing zeros of
 *            the fraction; # keeps them and the decimal point. The exponent has two digits or three
 *   g G      double rounded to as many digits as the precision says (6 without one, and at least 1). If the decimal
 *            exponent is below -4 or not below the precision it is printed as by e or E, else without an exponent;
 *            without trailing zeros of the fraction in both forms, unless # keeps them and the decimal point
 *   n        int32_t * (int16_t * with h): receives the number of bytes produced so far, including those that did not
 *            fit, at most 2147483647; prints nothing. It is also stored when the buffer is null or the size 0
 *   other    the character itself, so %% prints a percent sign
 *
 * Digits of a double are the correctly rounded ones of its exact value, half to even, however many are asked for and
 * whatever the rounding mode. What does not fit is counted, not built, so a huge width or precision costs
 * nothing there. A format that ends inside a directive drops the directive.
 *
 *   where                           here                                           printf(3)
 *   ------------------------------  ---------------------------------------------  ---------------------------------
 *   result                          bytes stored, at most size - 1                 bytes of the complete output
 *   size 0 or above 2147483648      nothing is stored, the result is 0             size 0 alone; the result as above
 *   null buffer                     counted as if there were one of that size      with size 0 only
 *   failures                        ends the output early                          negative result, errno
 *   order inside a directive        free, repetition allowed                       flags, width, precision, modifier
 *   hh, ll, L before an integer     as h, as l, nothing                            char, long long, not defined
 *   l                               32 bits everywhere                             long
 *   j z t q, other unknown          printed as themselves; the rest of the         size modifiers; not defined
 *     characters, a A C F             directive is then ordinary text; with
 *                                     width and 0 or - applied
 *   D O U                           as ld lo lu                                    not defined
 *   S                               a UCS-2 string                                 a wchar_t string
 *   0 with c, s, S, %, Inf, NaN     pads with zeros                                not defined; spaces for the last two
 *   integer precision               counts the sign and prefix: %.3d of -5 is      counts digits: -005, 0x001f
 *                                     -05, %#.5x of 31 is 0x01f
 *   %#.0o of 0                      nothing                                        0
 *   %s of null, with precision 3    (nu                                            not defined
 *   %p                              0x and the digits, 0x0 for null; takes a       up to the implementation
 *                                     precision, %.0p of null is 0x
 *   infinity, not a number          Inf, -Inf, NaN for each conversion; + and      inf or INF, nan or NAN, perhaps
 *                                     space apply, a NaN is never negative           with a minus
 *   negative zero                   prints as zero                                 with a minus
 *   %e %E                           1.5 is 1.5e+00, 1 is 1e+00; zeros stay with #  1.500000e+00, 1.000000e+00
 *   %.0f of 0.3, -0.5               0. and -0. (no digit is left to print)         0 and -0
 *   %#.0f of 0                      0, in a field of the size of "0.": %#5.0f is   0.
 *                                     three spaces and 0, and %n counts a byte
 *                                     that is not printed
 *   %.0g                            exponent from 1 on: 5 is 5e+00, 0 is 0e+00     as %.1g: 5, 0
 *   decimal point                   always a full stop                             up to LC_NUMERIC
 *   ' and I flags, %1$d, %m         unknown characters, as above                   grouping, digits, position, errno
 *
 * Compilers check formats by the rules of printf(3) and would complain about %S and %D, so these functions do not ask
 * for that check. On i386 every integer, character and pointer argument takes 32 bits and a double 64. There is no
 * conversion for 64-bit integers; Signed64ToASCII and UnSigned64ToASCII print those.
 *
 * Calls may run in any number of threads at once. */
#ifndef QVSUPT32_FORMAT_H
#define QVSUPT32_FORMAT_H

#include <stdarg.h>

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Formats the arguments into buffer, of which size bytes may be used, terminator included. Stores at most size - 1
 * bytes and then a zero byte, and returns the number of bytes stored without it. Output that does not fit is cut at
 * the end of the buffer, even inside a UTF-8 character.
 *
 * A null buffer stores nothing; the result is the number of bytes that one of that size would have received. With size
 * 0, or above 2147483648, nothing at all is stored and the result is 0.
 *
 * truncated may be null. It receives 1 if some of the output did not fit, else 0; also 0 with a size of 0 or above
 * 2147483648. arguments is used as by vsnprintf(3): afterwards the caller may only end it. */
QVSUPT32_API uint32_t OSvsnprintf(char *buffer, uint32_t size, uint32_t *truncated, const char *format,
                                  va_list arguments);

/* The same without the truncation flag. */
QVSUPT32_API uint32_t SMvsnprintf(char *buffer, uint32_t size, const char *format, va_list arguments);

/* The same with the arguments themselves. */
QVSUPT32_API uint32_t OSsnprintf(char *buffer, uint32_t size, const char *format, ...);
QVSUPT32_API uint32_t SMsnprintf(char *buffer, uint32_t size, const char *format, ...);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
