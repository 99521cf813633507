/* Localized string resources and paths: texts by number and language, and the most specific file that exists.
 *
 * A string-resource file starts with the bytes FF FE. The rest is UCS-2 in 16-bit units, low byte first, in lines that
 * end in a carriage return and a line feed. A line "407:1F4=Hallo" gives string 500 (hexadecimal 1F4) in the language
 * 1031 (hexadecimal 407, see language.h): both numbers in upper-case hexadecimal without leading zeros, then the text,
 * unchanged. Language 0 is the default. A line that does not contain the key that is searched for is skipped, so
 * comments need no mark.
 *
 * Rules for authors of such files:
 *   - a line, its end included, has at most 1023 units; a longer one is read in pieces of 1023 units, each of which is
 *     searched like a line;
 *   - a line of exactly 1024 units is cut before its line feed, which then begins the next line;
 *   - a last line without its line end loses its last unit; a lone last byte of the file is ignored;
 *   - a line, or piece, ends for the search at a unit 0;
 *   - the first line that contains the key anywhere is the entry: "10:1F4=" contains "0:1F4=", so it is an entry of
 *     that key too. The line is cut at its first carriage return or line feed; its text is the part after its last "=".
 *
 * Sizes are bytes and count the terminator. No function here may be called from a signal handler. */
#ifndef QVSUPT32_RESOURCE_H
#define QVSUPT32_RESOURCE_H

#include <stdio.h>

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Lines and texts -------------------------------------------------------------------------------------------------- */

/* Reads a line of 16-bit units from the file's position, with its carriage return and line feed, and terminates it.
 * capacity is the size of line in units. A line that does not fit with its terminator, and one without an end, is cut
 * before the last unit that was read; the file's position is then at that unit. Returns line; null if less than two
 * units are left to read, or if the position cannot be determined or set, as of a pipe. If nothing was read, the
 * position is left.
 * Threads: those that share a file take turns. */
QVSUPT32_API SMChar16 *qv_fgetws(SMChar16 *line, uint32_t capacity, FILE *file);

/* Copies text with its terminator if it fits. It needs 2 * (units + 1) bytes, and none if it is null.
 *   buffer and *size       copied if *size is large enough; *size becomes the size needed, which is returned if the
 *                          text was copied, else 0
 *   buffer, size is null   copies nothing and returns 0
 *   *size, buffer is null  *size becomes the size needed; returns 0
 *   neither                returns the size needed */
QVSUPT32_API uint32_t SetUnicodeStringToDestination(const SMChar16 *text, SMChar16 *buffer, uint32_t *size);

/* Strings by number ------------------------------------------------------------------------------------------------ */

/* Looks a string up in a resource file, and delivers it as SetUnicodeStringToDestination does. Returns the bytes
 * copied, 0 if the string was not found or not copied; without a buffer and without a size the bytes that it needs.
 * *size becomes the number that is returned, so with a size but no buffer, or one that is too small, it becomes 0 and
 * not the size needed.
 *
 * Looks for the language that *language gives, or 0 without the pointer. Languages 437 and 1033 count as 0, and
 * *language then becomes 0; it also does if the file has no entry in the language, and the entry of language 0 is
 * taken. An entry whose line has no "=" before it is cut delivers nothing.
 *
 * If the lookup cannot start, a text that says why is delivered in place of the string, and *language stays:
 *   "Invalid Path File Name"         pathFile is null
 *   "Failed to allocate memory"      the heap is exhausted; without memory for a line not even this text is delivered
 *   "String resource locked"         the global file lock was not obtained within its minute
 *   "String resource not found"      the file cannot be opened
 *   "Invalid string resource found"  it does not begin with the bytes FF FE, or cannot be read
 * If reading fails later, the file counts as ended.
 *
 * Takes the global file lock while it reads, and reads the file once from front to back, with the same little memory
 * for a file of any size.
 * Threads: may run in parallel; they take turns at the lock. */
QVSUPT32_API uint32_t GetUCS2StrFromIDPathFile(uint32_t stringID, uint32_t *language, const char *pathFile,
                                               SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetUCS2StrFromIDPathFile(uint32_t stringID, uint32_t *language, const char *pathFile,
                                                 SMChar16 *buffer, uint32_t *size);

/* The OEM settings: string numbers from oemBase to oemBase + oemRange, both included, are looked up as the number plus
 * oemOffset. They come from the keys "BaseID", "oemRange" and "offset" of the section "OEM Configuration" in the file
 * "ini/qvprv32.ini" of the product VELA (see store.h and paths.h); a key that cannot be read leaves its default, which
 * is 2304, 32 and what oemOffset holds. They are read once, by the first GetUCS2StrFromID that finds oemBase 0.
 * Read-only for callers. */
QVSUPT32_API extern uint32_t oemBase;
QVSUPT32_API extern uint32_t oemRange;
QVSUPT32_API extern uint32_t oemOffset;

/* The same as GetUCS2StrFromIDPathFile for the file "ini/qvunidat.txt" of the product VELA, with the number moved by
 * the settings above. Returns 0, and *size becomes 0, also if the product has no install directory that exists, or if
 * the path would pass 255 bytes. */
QVSUPT32_API uint32_t GetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size);

/* Paths ------------------------------------------------------------------------------------------------------------ */

/* Returns the first of these paths that exists, in a new block of 256 bytes that the caller frees with SMFreeMem:
 *
 *   base/product/ll/CC/sub/file   for the locale name "ll_CC"; base/product/ll/sub/file for one without "_"
 *   base/product/ll/sub/file      for the locale name "ll_CC"
 *   base/product/sub/file
 *
 * A null base is ".", a null locale name that of the process (see GetOSLocaleName), and a null sub-directory an empty
 * one. A path of more than 255 characters counts as one that does not exist. Returns null if none exists, if the
 * product directory or the file name is null, if the locale name is longer than 8 bytes, or if memory is exhausted.
 * Threads: may run in parallel. */
QVSUPT32_API __attribute__((malloc, warn_unused_result)) char *GetLocalizedPathFileName(const char *base,
                                                                                        const char *productDirectory,
                                                                                        const char *localeName,
                                                                                        const char *subDirectory,
                                                                                        const char *fileName);
QVSUPT32_API __attribute__((malloc, warn_unused_result)) char *SMGetLocalizedPathFileName(const char *base,
                                                                                          const char *productDirectory,
                                                                                          const char *localeName,
                                                                                          const char *subDirectory,
                                                                                          const char *fileName);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
