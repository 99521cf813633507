/* Numbers, times and typed values as text and back, and name=value parameters.
 *
 * Texts are zero-terminated; sizes are bytes, terminators included, two bytes a UCS-2 code unit. Integers, and doubles
 * that the 8-bit functions write and read, look the same in every locale: the decimal point is ".". Only what is named
 * here follows the process's locale: white space before a number and the letter case of parameter names (LC_CTYPE), and
 * the decimal point of UCS2ToDouble and UCS2DoubleToStr (LC_NUMERIC), which agree with each other. Times are local
 * times, formed for the time zone that TZ names at the call; they are 32-bit and signed, so they end in January 2038.
 *
 * Pointers must not be null unless a declaration says what null does. All functions may be called by several
 * threads. */
#ifndef QVSUPT32_VALUE_H
#define QVSUPT32_VALUE_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Type codes of typed values, with their binary form and the text that is written. */
#define SM_TYPE_BOOLEAN 0u /* 16-bit, 1 is true, anything else false: "true" or "false" */
#define SM_TYPE_S8 1u      /* signed 8-bit, decimal */
#define SM_TYPE_S16 2u     /* signed 16-bit, decimal */
#define SM_TYPE_S32 3u     /* signed 32-bit, decimal */
#define SM_TYPE_S64 4u     /* signed 64-bit, decimal */
#define SM_TYPE_U8 5u      /* unsigned 8-bit, decimal */
#define SM_TYPE_U16 6u     /* unsigned 16-bit, decimal */
#define SM_TYPE_U32 7u     /* unsigned 32-bit, decimal */
#define SM_TYPE_U64 8u     /* unsigned 64-bit, decimal */
#define SM_TYPE_DOUBLE 9u  /* 64-bit IEEE double, three decimals */
#define SM_TYPE_LANGID 10u /* 32-bit language identifier: its locale name */
#define SM_TYPE_TIME 11u   /* signed 32-bit seconds since 1970-01-01 UTC: local time, see TimeToUTF8Str */
#define SM_TYPE_BINARY 12u /* bytes of a given number: their hexadecimal dump from offset 0 */

/* Numbers as 8-bit text -------------------------------------------------------------------------------------------- */

/* Reads a decimal number: white space, one sign, digits up to the first other character. Wraps modulo 2^64; no digits
 * give 0. The unsigned reader takes no "-". */
QVSUPT32_API int64_t ASCIIToSigned64(const char *text);
QVSUPT32_API int64_t SMASCIIToSigned64(const char *text);
QVSUPT32_API uint64_t ASCIIToUnSigned64(const char *text);
QVSUPT32_API uint64_t SMASCIIToUnSigned64(const char *text);

/* Writes a number into a buffer of at least 21 bytes. Returns the address of its first digit, which for a negative
 * number follows the "-". */
QVSUPT32_API char *Signed64ToASCII(char *buffer, int64_t value);
QVSUPT32_API char *SMSigned64ToASCII(char *buffer, int64_t value);
QVSUPT32_API char *UnSigned64ToASCII(char *buffer, uint64_t value);
QVSUPT32_API char *SMUnSigned64ToASCII(char *buffer, uint64_t value);

/* Reads a double as strtod(3) does in the C locale; 0.0 when there is no number. */
QVSUPT32_API double ASCIIToDouble(const char *text);

/* Writes a double with three decimals, cut at size. Returns the bytes stored, without the terminator. */
QVSUPT32_API uint32_t DoubleToASCII(char *buffer, uint32_t size, double value);

/* Writes a time as ctime(3) does, without the line feed, into a buffer of at least 26 bytes.
 *   SM_STATUS_UNSUCCESSFUL (-1)  the time cannot be converted
 *   SM_STATUS_SUCCESS (0)        written */
QVSUPT32_API uint32_t TimeToUTF8Str(const int32_t *seconds, char *buffer);

/* The same for a time by value, of which the low 32 bits are kept. */
QVSUPT32_API uint32_t SMTimeToUTF8Str(int64_t seconds, char *buffer);

/* Validating readers. Each stores a status:
 *   SM_STATUS_INVALID_PARAMETER (271)  the radix is none of 8, 10 and 16; the text is null, empty, or no number of the
 *                                      radix and nothing else
 *   SM_STATUS_SUCCESS (0)              the text is a number
 * They return 0 if the status is not 0, and for a text that is valid without a digit ("-", "0x").
 *   radix 10  one sign, then digits; the double reader also takes a fraction and an exponent
 *   radix 8   octal digits
 *   radix 16  hexadecimal digits in one letter case, after "0x" or without
 * 32-bit readers stop at the ends of their range; an unsigned one takes the complement for a "-" before a
 * number that is not beyond the range. Signed octal and
 * hexadecimal text reads as its bit pattern. The 64-bit readers read decimal text as ASCIIToSigned64 and
 * ASCIIToUnSigned64 do, so the unsigned one gives 0 for text with a "-". */
QVSUPT32_API int32_t ASCIIToSigned32VT(const char *text, uint32_t radix, uint32_t *status);
QVSUPT32_API uint32_t ASCIIToUnSigned32VT(const char *text, uint32_t radix, uint32_t *status);
QVSUPT32_API int64_t ASCIIToSigned64VT(const char *text, uint32_t radix, uint32_t *status);
QVSUPT32_API uint64_t ASCIIToUnSigned64VT(const char *text, uint32_t radix, uint32_t *status);
QVSUPT32_API double ASCIIToDoubleVT(const char *text, uint32_t radix, uint32_t *status);

/* Reads "true" as 1 or "false" as 0, in any letter case, and stores SM_STATUS_SUCCESS (0); null and anything else give
 * 0 and SM_STATUS_INVALID_PARAMETER (271). */
QVSUPT32_API SMBool ASCIIToBoolnV(const char *text, uint32_t *status);

/* Numbers as UCS-2 text -------------------------------------------------------------------------------------------- */

/* Read a number as the 8-bit readers do, whatever follows it. The 32-bit ones stop at the ends of their range, and the
 * unsigned one takes the complement for a "-"; the double reader follows the locale. 0 if text is null, has no number,
 * or holds a unit above 0x7F anywhere, and if memory is exhausted. */
QVSUPT32_API int32_t UCS2ToSigned32(const SMChar16 *text);
QVSUPT32_API int32_t SMUCS2ToSigned32(const SMChar16 *text);
QVSUPT32_API uint32_t UCS2ToUnSigned32(const SMChar16 *text);
QVSUPT32_API uint32_t SMUCS2ToUnSigned32(const SMChar16 *text);
QVSUPT32_API int64_t UCS2ToSigned64(const SMChar16 *text);
QVSUPT32_API int64_t SMUCS2ToSigned64(const SMChar16 *text);
QVSUPT32_API uint64_t UCS2ToUnSigned64(const SMChar16 *text);
QVSUPT32_API uint64_t SMUCS2ToUnSigned64(const SMChar16 *text);
QVSUPT32_API double UCS2ToDouble(const SMChar16 *text);
QVSUPT32_API double SMUCS2ToDouble(const SMChar16 *text);

/* Write a number or a time through UTF8StrToUCS2Str, whose rules for buffer and size apply: a null buffer asks for the
 * size. Radix 2, 8 and 16 show the 32-bit pattern, every other radix is 10; unsigned numbers too are shown signed in
 * radix 10. Doubles follow the locale.
 *   SM_STATUS_UNSUCCESSFUL (-1)  UTF8StrToUCS2Str fails, or memory is exhausted; *size stays
 *   SM_STATUS_SUCCESS (0)        written, or only measured */
QVSUPT32_API uint32_t UCS2Signed32ToStr(int32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2Signed32ToStr(int32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t UCS2UnSigned32ToStr(uint32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2UnSigned32ToStr(uint32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t UCS2DoubleToStr(double value, int32_t decimals, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2DoubleToStr(double value, int32_t decimals, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t UCS2TimeToStr(const int32_t *seconds, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2TimeToStr(const int32_t *seconds, SMChar16 *buffer, uint32_t *size);

/* Typed values ----------------------------------------------------------------------------------------------------- */

/* Reads a value of a type from text. radix goes to the numeric readers.
 *   SM_STATUS_INVALID_PARAMETER (271)  text or size is null; value is null and *size is not 0
 *   SM_STATUS_BAD_ARGUMENT (2)         type is above SM_TYPE_LANGID
 *   SM_STATUS_INVALID_PARAMETER (271)  the text is no such value; for numbers, the radix is none of 8, 10 and 16
 *   SM_STATUS_UNSUCCESSFUL (-1)        no such locale name
 *   SM_STATUS_VALUE_TOO_LARGE (290)    above the range of SM_TYPE_S8, S16, U8 or U16
 *   SM_STATUS_VALUE_TOO_SMALL (291)    below the range of SM_TYPE_S8 or S16
 *   SM_STATUS_SUCCESS (0)              value is null: the text is valid; *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below the type's size, which is stored there
 *   SM_STATUS_SUCCESS (0)              the value is stored; *size stays */
QVSUPT32_API uint32_t XLTUTF8ToTypeValue(const char *text, void *value, uint32_t *size, uint32_t type, uint32_t radix);
QVSUPT32_API uint32_t SMXLTUTF8ToTypeValue(const char *text, void *value, uint32_t *size, uint32_t type,
                                           uint32_t radix);

/* Writes a value of a type as text. valueSize is the number of bytes of an SM_TYPE_BINARY value, and not looked at for
 * the others. The least *size is 6 for booleans, 17 for signed integers of up to 32 bits, 16 for unsigned ones and
 * language identifiers, 33 and 32 for signed and unsigned 64-bit integers, 32 for doubles (a longer one is cut), 64 for
 * times, and for binary the length of the dump with its terminator.
 *   SM_STATUS_INVALID_PARAMETER (271)  value or size is null
 *   SM_STATUS_BAD_ARGUMENT (2)         type is above SM_TYPE_BINARY
 *   SM_STATUS_UNSUCCESSFUL (-1)        the dump of a binary value cannot be made; *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below the least, which is stored there
 *   SM_STATUS_INVALID_PARAMETER (271)  buffer is null
 *   SM_STATUS_UNSUCCESSFUL (-1)        the time cannot be converted
 *   SM_STATUS_SUCCESS (0)              written; *size stays, but for binary it is the size of the text */
QVSUPT32_API uint32_t XLTTypeValueToUTF8(const void *value, uint32_t valueSize, char *buffer, uint32_t *size,
                                         uint32_t type);
QVSUPT32_API uint32_t SMXLTTypeValueToUTF8(const void *value, uint32_t valueSize, char *buffer, uint32_t *size,
                                           uint32_t type);

/* Parameters --------------------------------------------------------------------------------------------------------
 *
 * A parameter is a string name=value: its name is what precedes the first "=". A string without "=", or that
 * starts with it, or is empty or null, has no name and is no parameter. Arrays are counted; null elements are
 * skipped. */

/* Returns the length of the parameter's name, at most 0xFFFFFFFF; 0 if it has none. */
QVSUPT32_API uint32_t GetUTF8StrParamNameLen(const char *parameter);

/* Cuts the parameter at its "=" and returns it; null, and nothing is cut, when it has no name. */
QVSUPT32_API char *GetUTF8StrParamName(char *parameter);
QVSUPT32_API char *SMNVPGetUTF8ParamName(char *parameter);

/* Returns the address after the first "="; null when the parameter has no name. */
QVSUPT32_API char *GetUTF8StrParamValue(char *parameter);
QVSUPT32_API char *SMNVPGetUTF8ParamValue(char *parameter);

/* Returns the index of the first parameter of a name, -1 when there is none. The name may be followed by "=" and
 * anything. If ignoreCase is 1 letter case does not count. */
QVSUPT32_API int32_t GetParamIndexByUTF8StrName(int32_t count, char *const *parameters, const char *name,
                                                int16_t ignoreCase);
QVSUPT32_API int32_t SMNVPGetParamIndexByUTF8Name(int32_t count, char *const *parameters, const char *name,
                                                  int16_t ignoreCase);

/* Returns the value of the first parameter of a name, null when there is none. */
QVSUPT32_API char *GetUTF8StrParamValueByUTF8StrName(int32_t count, char *const *parameters, const char *name,
                                                     int16_t ignoreCase);
QVSUPT32_API char *SMNVPGetUTF8ParamValueByUTF8Name(int32_t count, char *const *parameters, const char *name,
                                                    int16_t ignoreCase);

/* Reads the value of the first parameter of a name.
 *   SM_STATUS_INVALID_PARAMETER (271)  parameters or value is null
 *   SM_STATUS_NOT_FOUND (256)          no parameter of that name, or name is null
 * and then the statuses of XLTUTF8ToTypeValue. */
QVSUPT32_API uint32_t NVPUTF8ToTypeValue(int32_t count, char *const *parameters, const char *name, int16_t ignoreCase,
                                         void *value, uint32_t *size, uint32_t type, uint32_t radix);
QVSUPT32_API uint32_t SMNVPUTF8ToTypeValue(int32_t count, char *const *parameters, const char *name, int16_t ignoreCase,
                                           void *value, uint32_t *size, uint32_t type, uint32_t radix);

/* Returns 1 when the parameter has a name, else 0. */
QVSUPT32_API SMBool IsValidParam(const char *parameter);
QVSUPT32_API int32_t SMIsValidParam(const char *parameter);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
