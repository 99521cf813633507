/* Text from one encoding into another: UCS-2 and UTF-8, the current locale's encoding, printable escapes, hexadecimal
 * dumps; and the two dynamic strings that grow as text is appended.
 *
 * Texts are zero-terminated. UCS-2 is an array of 16-bit units in the machine's byte order, in which a surrogate pair
 * is one character. UTF-8 is the six-byte form of RFC 2279 and is read leniently: see UTF8CharsToUCS4Char.
 *
 * Sizes are in-out: they give the size of the caller's buffer and come back as declared at each function. They are
 * bytes and count the terminator, except for the two code-point encoders. No function writes past the size given, nor
 * anything into the buffer but the text that it converted. Source and buffer do not overlap. */
#ifndef QVSUPT32_CONVERT_H
#define QVSUPT32_CONVERT_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Code points ------------------------------------------------------------------------------------------------------ */

/* Reads one character of UTF-8. A byte below 0x80 is itself, the zero byte included. The high bits of any other first
 * byte choose a form of two to six bytes; each byte after it only has to be nonzero and gives its low six bits, and
 * a form longer than the value needs is accepted.
 *   SM_STATUS_INVALID_PARAMETER (271)  an argument is null
 *   SM_STATUS_BAD_TYPE (257)           the first byte begins no form (0x80 to 0xBF, 0xFE, 0xFF), or the text ends
 *                                      inside the form; *codePoint is 0, *consumed stays
 *   SM_STATUS_SUCCESS (0)              *codePoint is the character, *consumed the bytes that it takes */
QVSUPT32_API uint32_t UTF8CharsToUCS4Char(uint32_t *codePoint, const char *bytes, uint32_t *consumed);

/* Writes one character of UTF-8, without a terminator, in the shortest form; surrogates are characters like any other.
 * *size counts bytes. A null buffer asks for the size.
 *   SM_STATUS_INVALID_PARAMETER (271)  size is null
 *   SM_STATUS_BAD_TYPE (257)           codePoint is above 0x7FFFFFFF
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the bytes do not fit; nothing is written and *size stays
 *   SM_STATUS_SUCCESS (0)              *size is the number of bytes, 1 to 6 */
QVSUPT32_API uint32_t UCS4CharToUTF8Chars(char *bytes, uint32_t *size, uint32_t codePoint);

/* Reads one character of UTF-16: one unit, or a high surrogate and the low one after it.
 *   SM_STATUS_INVALID_PARAMETER (271)  an argument is null
 *   SM_STATUS_BAD_TYPE (257)           a surrogate that is not half of a pair; *codePoint is that surrogate
 *   SM_STATUS_SUCCESS (0)              *codePoint is the character: 0 for a zero unit, above 0xFFFF for a pair */
QVSUPT32_API uint32_t UTF16CharsToUCS4Char(uint32_t *codePoint, const SMChar16 *units);

/* Writes one character of UTF-16, without a terminator; surrogates are characters like any other. *size counts units,
 * not bytes. A null buffer asks for the size.
 *   SM_STATUS_INVALID_PARAMETER (271)  size is null
 *   SM_STATUS_BAD_TYPE (257)           codePoint is above 0x10FFFF
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the units do not fit; nothing is written and *size stays
 *   SM_STATUS_SUCCESS (0)              *size is the number of units, 1 or 2 */
QVSUPT32_API uint32_t UCS4CharToUTF16Chars(SMChar16 *units, uint32_t *size, uint32_t codePoint);

/* UCS-2 and UTF-8 --------------------------------------------------------------------------------------------------
 *
 * With a null buffer the two functions measure: *size comes back as the size that the text needs, and a buffer of that
 * size always suffices. Otherwise characters are converted one by one, and the first that fails decides between 257
 * and 16; the buffer then holds what was converted before, without a terminator. *size is stored with 0 only. */

/* Converts UCS-2 to UTF-8.
 *   SM_STATUS_INVALID_PARAMETER (271)  text or size is null
 *   SM_STATUS_BAD_TYPE (257)           a surrogate that is not half of a pair
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    a character or the terminator does not fit; a size that passes 32 bits is
 *                                      asked for
 *   SM_STATUS_SUCCESS (0)              *size is the bytes written or needed */
QVSUPT32_API uint32_t UCS2StrToUTF8Str(char *buffer, uint32_t *size, const SMChar16 *text);
QVSUPT32_API uint32_t SMUCS2StrToUTF8Str(char *buffer, uint32_t *size, const SMChar16 *text);

/* Of an odd *size the last byte is not used. The bytes C0 80, which spell the character 0, give a zero unit inside the
 * text.
 *   SM_STATUS_INVALID_PARAMETER (271)  text or size is null
 *   SM_STATUS_BAD_TYPE (257)           a character that UTF8CharsToUCS4Char refuses, or one above 0x10FFFF
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    a character or the terminator does not fit; a size that passes 32 bits is
 *                                      asked for
 *   SM_STATUS_SUCCESS (0)              *size is the bytes written or needed: two for each unit and for the
 *                                      terminator */
QVSUPT32_API uint32_t UTF8StrToUCS2Str(SMChar16 *buffer, uint32_t *size, const char *text);
QVSUPT32_API uint32_t SMUTF8StrToUCS2Str(SMChar16 *buffer, uint32_t *size, const char *text);

/* The current locale's encoding ------------------------------------------------------------------------------------
 *
 * The conversions are those of the platform (mbsrtowcs and wcsrtombs), unit by unit: a character above 0xFFFF is cut to
 * its low 16 bits, and a surrogate is a character of its own, which most encodings refuse. A null buffer or a size of 0
 * asks for the size.
 *
 * Threads: may run in parallel, but not with a change of the locale. */

/* Converts from the locale's encoding to UCS-2. ASCIIToUnicode is the same.
 *   SM_STATUS_INVALID_PARAMETER (271)  text or size is null
 *   SM_STATUS_UNSUCCESSFUL (-1)        text is invalid in the locale; nothing is written and *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is too small, or a size that passes 32 bits is asked for; nothing is
 *                                      written, and *size is the bytes needed where they can be counted in 32 bits
 *   SM_STATUS_SUCCESS (0)              *size is the bytes written or needed */
QVSUPT32_API uint32_t LocalToUnicode(SMChar16 *buffer, uint32_t *size, const char *text);
QVSUPT32_API uint32_t ASCIIToUnicode(SMChar16 *buffer, uint32_t *size, const char *text);

/* Converts from UCS-2 to the locale's encoding. UnicodeToASCII is the same.
 *   SM_STATUS_INVALID_PARAMETER (271)  text or size is null
 *   SM_STATUS_UNSUCCESSFUL (-1)        a unit that the locale cannot express, or text that gives no byte though it
 *                                      is not empty; nothing is written and *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    as for LocalToUnicode
 *   SM_STATUS_SUCCESS (0)              *size is the bytes written or needed */
QVSUPT32_API uint32_t UnicodeToLocal(char *buffer, uint32_t *size, const SMChar16 *text);
QVSUPT32_API uint32_t UnicodeToASCII(char *buffer, uint32_t *size, const SMChar16 *text);

/* Escapes ---------------------------------------------------------------------------------------------------------- */

/* Writes UCS-2 text as printable 8-bit text: tab, line feed, carriage return and backslash become \t, \n, \r and \\,
 * the units 32 to 127 are copied, and every other unit becomes \u with four lower-case hexadecimal digits.
 *   SM_STATUS_BAD_ARGUMENT (2)         text is null
 *   SM_STATUS_UNSUCCESSFUL (-1)        the heap is exhausted; *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below the size needed, also when buffer is null; *size is the bytes
 *                                      needed, nothing is written
 *   SM_STATUS_SUCCESS (0)              written, or only measured when buffer is null; *size is the bytes needed
 * size may be null: the buffer is large enough then. */
QVSUPT32_API uint32_t UCS2ToEscape(char *buffer, uint32_t *size, const SMChar16 *text);
QVSUPT32_API uint32_t SMUCS2ToEscape(char *buffer, uint32_t *size, const SMChar16 *text);

/* Dynamic strings --------------------------------------------------------------------------------------------------
 *
 * The record is the caller's, often a local variable; the text belongs to the record. The text and its terminator
 * always fit into strBufSize bytes, but for UCS-2 with an initial size of 1, which has a terminator all the same;
 * pStr + strLen is the terminator. A record starts with Alloc and ends with Free; one that is all zeros counts as
 * freed.
 *
 * Threads: a record is used by one thread at a time. */

typedef struct SSUCS2Str {
  SMChar16 *pStr;      /* null before Alloc and after Free */
  uint32_t strBufSize; /* bytes allocated for the text */
  uint32_t strLen;     /* units before the terminator */
} SSUCS2Str;

typedef struct SSUTF8Str {
  char *pStr;          /* null before Alloc and after Free */
  uint32_t strBufSize; /* bytes allocated for the text */
  uint32_t strLen;     /* bytes before the terminator */
} SSUTF8Str;

/* Makes the record an empty text with initialSize bytes and returns its text. Returns null when the record is null,
 * when initialSize is 0 (the record is left as it was), or when the heap is exhausted (pStr is null then). What the
 * record held before is not freed. */
QVSUPT32_API SMChar16 *SSUCS2StrAlloc(SSUCS2Str *record, uint32_t initialSize);
QVSUPT32_API SMChar16 *SMSSUCS2StrAlloc(SSUCS2Str *record, uint32_t initialSize);
QVSUPT32_API char *SSUTF8StrAlloc(SSUTF8Str *record, uint32_t initialSize);
QVSUPT32_API char *SMSSUTF8StrAlloc(SSUTF8Str *record, uint32_t initialSize);

/* Append text, converting it where the encodings differ, and return the record's text, which may have moved.
 *
 * When the text and its terminator pass strBufSize, the buffer grows: to twice the size while that is at most 1048575
 * bytes, to 125/100 of it above; to the size needed where that is more; never past 0xFFFFFFFF bytes.
 *
 * Null is returned for a record that is null or has no text. In every other case pStr is returned, and strLen shows
 * whether it grew: text that is null appends nothing, and neither does text that is malformed (see UCS2StrToUTF8Str and
 * UTF8StrToUCS2Str) or for which memory is exhausted. The record's own text may be appended to it. A zero unit inside
 * converted UTF-8 (the bytes C0 80) counts in strLen. */
QVSUPT32_API SMChar16 *SSUCS2StrCatUCS2Str(SSUCS2Str *record, const SMChar16 *text);
QVSUPT32_API SMChar16 *SMSSUCS2StrCatUCS2Str(SSUCS2Str *record, const SMChar16 *text);
QVSUPT32_API SMChar16 *SSUCS2StrCatUTF8Str(SSUCS2Str *record, const char *text);
QVSUPT32_API SMChar16 *SMSSUCS2StrCatUTF8Str(SSUCS2Str *record, const char *text);
QVSUPT32_API char *SSUTF8StrCatUTF8Str(SSUTF8Str *record, const char *text);
QVSUPT32_API char *SMSSUTF8StrCatUTF8Str(SSUTF8Str *record, const char *text);
QVSUPT32_API char *SSUTF8StrCatUCS2Str(SSUTF8Str *record, const SMChar16 *text);
QVSUPT32_API char *SMSSUTF8StrCatUCS2Str(SSUTF8Str *record, const SMChar16 *text);

/* Free the text and clear the record, which can be given to Alloc again. A null record or text is fine. */
QVSUPT32_API void SSUCS2StrFree(SSUCS2Str *record);
QVSUPT32_API void SMSSUCS2StrFree(SSUCS2Str *record);
QVSUPT32_API void SSUTF8StrFree(SSUTF8Str *record);
QVSUPT32_API void SMSSUTF8StrFree(SSUTF8Str *record);

/* Hexadecimal dumps ------------------------------------------------------------------------------------------------
 *
 * A dump is one line of 82 characters for every 16 bytes, the last line for what is left:
 *
 *   0x00000100: 00 01 02 03:04 05 06 07:08 09 0A 0B:0C 0D 0E 0F    ................
 *
 * The offset counts from baseOffset modulo 2^32. Bytes 32 to 122 show as themselves on the right, all others as a full
 * stop. The columns of bytes that a short last line does not have are spaces; one space and a carriage return with a
 * line
 * feed end every line. No bytes (null, or a count of 0) give no line. */

/* Appends a dump to a dynamic string, which grows by one line at a time as an append makes it grow.
 *   SM_STATUS_SUCCESS (0)              there are no bytes: the record is not looked at
 *   SM_STATUS_UNSUCCESSFUL (-1)        the record is null or has no text, or the heap is exhausted; the lines that
 *                                      were appended before stay
 *   SM_STATUS_SUCCESS (0)              appended */
QVSUPT32_API uint32_t BufToSSUTF8Str(SSUTF8Str *record, const void *bytes, uint32_t count, uint32_t baseOffset);

/* Returns a dump of *count bytes as a new text, which the caller frees with SMFreeMem; no bytes give an empty text.
 * *count comes back as the length of the text plus 1. Returns null, with *count as it was, when count is null, the
 * heap is exhausted or that length passes 32 bits. */
QVSUPT32_API char *BufToUTF8Str(const void *bytes, uint32_t *count, uint32_t baseOffset);

/* Appends a dump to a dynamic UCS-2 string, in one append: the whole of it or nothing.
 *   SM_STATUS_NO_MEMORY (272)          no memory to begin the dump
 *   SM_STATUS_UNSUCCESSFUL (-1)        no memory for the dump; the record is null or has no text
 *   SM_STATUS_SUCCESS (0)              appended; as after every append, strLen shows whether the record could grow */
QVSUPT32_API uint32_t BufToUCS2Str(SSUCS2Str *record, const void *bytes, uint32_t count, uint32_t baseOffset);
QVSUPT32_API uint32_t SMBufToUCS2Str(SSUCS2Str *record, const void *bytes, uint32_t count, uint32_t baseOffset);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
