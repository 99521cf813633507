/* Strings: UCS-2 strings, 8-bit strings, and the check of digit strings.
 *
 * A UCS-2 string is an array of 16-bit code units in the machine's byte order that ends at a unit 0. Every unit is one
 * character here: nothing knows surrogate pairs. Lengths and counts of UCS-2 strings are code units, never bytes, and
 * leave the terminator out; units compare unsigned. An 8-bit string is bytes that end at a byte 0, UTF-8 as well as
 * any other; bytes compare unsigned.
 *
 * Every function works in place on the caller's memory and allocates nothing. Pointers must not be null unless a
 * declaration says what null does. No function knows the size of a destination: the caller provides enough for the
 * result, its terminator included. Source and destination do not overlap, except that Uni_strcpy and Uni_strncpy
 * may move a string within its own memory.
 *
 * The UCS-2 functions have three names each, Uni_*, UCS2Str* and SMUCS2Str*, for one function. */
#ifndef QVSUPT32_STRINGS_H
#define QVSUPT32_STRINGS_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* UCS-2 strings ---------------------------------------------------------------------------------------------------- */

/* Returns the number of units of s. */
QVSUPT32_API uint32_t Uni_strlen(const SMChar16 *s);
QVSUPT32_API uint32_t UCS2Strlen(const SMChar16 *s);
QVSUPT32_API uint32_t SMUCS2Strlen(const SMChar16 *s);

/* Copies src with its terminator. Returns dst. */
QVSUPT32_API SMChar16 *Uni_strcpy(SMChar16 *dst, const SMChar16 *src);
QVSUPT32_API SMChar16 *UCS2Strcpy(SMChar16 *dst, const SMChar16 *src);
QVSUPT32_API SMChar16 *SMUCS2Strcpy(SMChar16 *dst, const SMChar16 *src);

/* Copies up to and with the terminator of src, but n units at most. Writes nothing after what it copies: dst is not
 * padded, and it has no terminator if src has n units or more. Returns dst. */
QVSUPT32_API SMChar16 *Uni_strncpy(SMChar16 *dst, const SMChar16 *src, uint32_t n);
QVSUPT32_API SMChar16 *UCS2Strncpy(SMChar16 *dst, const SMChar16 *src, uint32_t n);
QVSUPT32_API SMChar16 *SMUCS2Strncpy(SMChar16 *dst, const SMChar16 *src, uint32_t n);

/* Appends src with its terminator to the string in dst. Returns dst. */
QVSUPT32_API SMChar16 *Uni_strcat(SMChar16 *dst, const SMChar16 *src);
QVSUPT32_API SMChar16 *UCS2Strcat(SMChar16 *dst, const SMChar16 *src);
QVSUPT32_API SMChar16 *SMUCS2Strcat(SMChar16 *dst, const SMChar16 *src);

/* Appends src, but n units of it at most, and a terminator to the string in dst. With n = 0 dst is neither
 * written nor read. Returns dst. */
QVSUPT32_API SMChar16 *Uni_strncat(SMChar16 *dst, const SMChar16 *src, uint32_t n);
QVSUPT32_API SMChar16 *UCS2Strncat(SMChar16 *dst, const SMChar16 *src, uint32_t n);
QVSUPT32_API SMChar16 *SMUCS2Strncat(SMChar16 *dst, const SMChar16 *src, uint32_t n);

/* Returns 0 when the strings are equal, else a value from 1 to 65535: the low 16 bits of the difference of the first
 * units that differ (s minus t). It says that they differ, not which ranks first. */
QVSUPT32_API uint32_t Uni_strcmp(const SMChar16 *s, const SMChar16 *t);
QVSUPT32_API uint32_t UCS2Strcmp(const SMChar16 *s, const SMChar16 *t);
QVSUPT32_API uint32_t SMUCS2Strcmp(const SMChar16 *s, const SMChar16 *t);

/* Returns the address of the first unit c of s, that of the terminator when c is 0, null when s has none. */
QVSUPT32_API SMChar16 *Uni_strchr(const SMChar16 *s, SMChar16 c);
QVSUPT32_API SMChar16 *UCS2Strchr(const SMChar16 *s, SMChar16 c);
QVSUPT32_API SMChar16 *SMUCS2Strchr(const SMChar16 *s, SMChar16 c);

/* Returns the address of the first occurrence of t in s, s itself when t is empty, null when there is none. */
QVSUPT32_API SMChar16 *Uni_strstr(const SMChar16 *s, const SMChar16 *t);
QVSUPT32_API SMChar16 *UCS2Strstr(const SMChar16 *s, const SMChar16 *t);
QVSUPT32_API SMChar16 *SMUCS2Strstr(const SMChar16 *s, const SMChar16 *t);

/* Returns the number of leading units of s that occur in set. */
QVSUPT32_API uint32_t Uni_strspn(const SMChar16 *s, const SMChar16 *set);
QVSUPT32_API uint32_t UCS2Strspn(const SMChar16 *s, const SMChar16 *set);
QVSUPT32_API uint32_t SMUCS2Strspn(const SMChar16 *s, const SMChar16 *set);

/* Returns the number of leading units of s that do not occur in set: its length when none does. */
QVSUPT32_API uint32_t Uni_strcspn(const SMChar16 *s, const SMChar16 *set);
QVSUPT32_API uint32_t UCS2Strcspn(const SMChar16 *s, const SMChar16 *set);
QVSUPT32_API uint32_t SMUCS2Strcspn(const SMChar16 *s, const SMChar16 *set);

/* Returns the address of the first unit of s that occurs in set, null when none does. */
QVSUPT32_API SMChar16 *Uni_strpbrk(const SMChar16 *s, const SMChar16 *set);

/* Where Uni_strtok continues if it is called without a string; null at first and after the last token. */
QVSUPT32_API extern SMChar16 *___Uni_strtok;

/* Cuts the next token out of s, or out of what the last call left if s is null: skips units that occur in set,
 * and ends the token by writing a 0 over the next unit that does. Returns the token, null if there is none left.
 * Threads: all callers in the process share the one position, without a lock. Two strings cannot be cut up
 * alternately, neither by two threads nor by one. */
QVSUPT32_API SMChar16 *Uni_strtok(SMChar16 *s, const SMChar16 *set);
QVSUPT32_API SMChar16 *UCS2Strtok(SMChar16 *s, const SMChar16 *set);
QVSUPT32_API SMChar16 *SMUCS2Strtok(SMChar16 *s, const SMChar16 *set);

/* Overwrites every unit before the terminator with c. Returns s. */
QVSUPT32_API SMChar16 *Uni_strset(SMChar16 *s, SMChar16 c);
QVSUPT32_API SMChar16 *UCS2Strset(SMChar16 *s, SMChar16 c);
QVSUPT32_API SMChar16 *SMUCS2Strset(SMChar16 *s, SMChar16 c);

/* Writes c into the n units from s on, over a terminator among them and after it. */
QVSUPT32_API void Uni_strnset(SMChar16 *s, SMChar16 c, uint32_t n);
QVSUPT32_API void UCS2Strnset(SMChar16 *s, SMChar16 c, uint32_t n);
QVSUPT32_API void SMUCS2Strnset(SMChar16 *s, SMChar16 c, uint32_t n);

/* Reverses the units before the terminator. Returns s. */
QVSUPT32_API SMChar16 *Uni_strrev(SMChar16 *s);
QVSUPT32_API SMChar16 *UCS2Strrev(SMChar16 *s);
QVSUPT32_API SMChar16 *SMUCS2Strrev(SMChar16 *s);

/* Compares n units, terminators like any other. Returns 0 when all are equal, also with n = 0, else as Uni_strcmp. */
QVSUPT32_API uint32_t Uni_memcmp(const SMChar16 *p, const SMChar16 *q, uint32_t n);

/* Compares n units at most, the letters a to z as if they were capitals, up to the first difference or the terminator
 * of s. Returns the difference of the last units compared (s minus t, capitals), 0 when n is below 1: negative when s
 * ranks first. */
QVSUPT32_API int32_t Uni_strncasecmp(const SMChar16 *s, const SMChar16 *t, int32_t n);

/* 8-bit strings ---------------------------------------------------------------------------------------------------- */

/* Compares n bytes at most, the letters A to Z as if they were small, up to the first difference or the terminator of
 * s. Returns the difference of the last bytes compared (s minus t, small letters), 0 when n is 0: negative when s ranks
 * first. A byte that ranks between the capitals and the small letters, such as '_', ranks before all letters here and
 * after them in Uni_strncasecmp. */
QVSUPT32_API int32_t UTF8Strnicmp(const char *s, const char *t, uint32_t n);
QVSUPT32_API int32_t SMUTF8Strnicmp(const char *s, const char *t, uint32_t n);

/* Replaces every byte of s by what toupper(3) makes of it in the current locale. A locale of single-byte characters
 * changes bytes that are parts of characters in UTF-8. Returns s. */
QVSUPT32_API char *strupr(char *s);
QVSUPT32_API char *SMUTF8StrUpperCase(char *s);

/* Likewise with tolower(3). */
QVSUPT32_API char *strlwr(char *s);
QVSUPT32_API char *SMUTF8StrLowerCase(char *s);

/* Reverses the bytes before the terminator; characters of several bytes do not survive it. Returns s. */
QVSUPT32_API char *strrev(char *s);
QVSUPT32_API char *SMUTF8Strrev(char *s);

/* Writes value as text into dst, which has 33 bytes or more: in radix 8 or 16 (small letters) its 32-bit pattern, in
 * radix 2 as dec2bin does, in any other signed and decimal. Returns the number of characters before the
 * terminator, but in radix 2 the address dst. The result is as wide as an address so that it can hold either: convert
 * it to int or to char pointer. */
QVSUPT32_API intptr_t ltostr(char *dst, int32_t value, int32_t radix);

/* Writes value in base 2 without leading zeros into dst, which has 33 bytes or more: 0 is the empty text, and a
 * negative value is its 32-bit pattern. Returns dst. */
QVSUPT32_API char *dec2bin(char *dst, int32_t value);

/* Digit strings ------------------------------------------------------------------------------------------------------
 *
 * All return
 *   SM_STATUS_INVALID_PARAMETER (271)  s is null or empty, or has another form
 *   SM_STATUS_SUCCESS (0)              s has the form that the declaration names */

/* Decimal digits. If allowSign is nonzero, one "-" or "+" may precede them or be all of s. */
QVSUPT32_API uint32_t IsASCIIIntNum(const char *s, SMBool allowSign);

/* Hexadecimal digits with the letters a to f when lowerCase is nonzero, else with A to F; never both. "0x" may
 * precede them or be all of s; "0X" may not. */
QVSUPT32_API uint32_t IsASCIIHexNum(const char *s, SMBool lowerCase);

/* Octal digits. */
QVSUPT32_API uint32_t IsASCIIOctalNum(const char *s);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
