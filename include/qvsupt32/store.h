/* Settings: files and directories, INI files, typed values in them, key=value files.
 *
 * Paths, names and texts are zero-terminated 8-bit strings. Sizes are unsigned 32-bit byte counts with the terminator.
 * Pointers must not be null unless a declaration says what null does.
 *
 * Every function that reads or writes an INI or key=value file by its path, other than AppendValue and UpdateValue,
 * holds the global file lock while it does, so processes and threads that use the library do not see each other's
 * half-made changes. A file is rewritten into a temporary file of its directory, which is on the disk before it takes
 * the file's place in one step: a process killed at any instant, or a machine that loses power, leaves the old content
 * or the new one. Whatever fails before that step leaves the file as it was. Nothing is kept between calls.
 *
 * Files get the permissions 0664, directories 0755 less the umask. What is neither a regular file nor a directory (a
 * pipe, a device) is never opened for reading: that answers as a file that cannot be opened. */
#ifndef QVSUPT32_STORE_H
#define QVSUPT32_STORE_H

#include <stdio.h>

#include "types.h"

QVSUPT32_BEGIN_C

/* Files and directories
 * ------------------------------------------------------------------------------------------------- */

/* Creates a directory, the last component of its path only. Returns 0 when it was created or something stands there
 * already, else -1. */
QVSUPT32_API uint32_t CreateDir(const char *path);
QVSUPT32_API uint32_t SMMkDir(const char *path);

/* Removes an empty directory. Returns 0, 257 when it is not empty, 256 when there is none, -1 for any other failure. */
QVSUPT32_API uint32_t DelDir(const char *path);
QVSUPT32_API uint32_t SMRmDir(const char *path);

/* Returns the size of an open file in bytes and leaves the position where it was; -1 when the size cannot be taken or
 * passes 2^31 - 1. */
QVSUPT32_API int32_t GetStreamFileSize(FILE *stream);

/* Stores the size of a file in bytes and returns 0; stores 0 and returns -1 when the file cannot be opened or its size
 * passes 2^31 - 1. */
QVSUPT32_API uint32_t GetSizeOfFile(const char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetSizeOfFile(const char *path, uint32_t *size);

/* Removes a file. Returns 0 or -1. */
QVSUPT32_API uint32_t DelFile(const char *path);
QVSUPT32_API uint32_t SMDeleteFile(const char *path);

/* Puts the source file in the destination's place. Two regular files are exchanged by one rename, without a moment in
 * which the destination is missing; otherwise, and when that fails, the destination is removed and the source renamed.
 *   270  the destination cannot be removed, for example because it is missing: nothing is changed
 *   258  the source cannot be renamed: the destination is gone
 *   0    the destination holds the source's content and has the permissions 0664 */
QVSUPT32_API uint32_t ReplaceFile(const char *destination, const char *source);

/* Stores a name for a temporary file, as tmpnam(3) makes it: it lies in the system's directory for temporary files, and
 * somebody else may take it before the caller does.
 *   16   *size is below 20 and becomes 20, or the path of the working directory takes more than 255 bytes
 *   256  the directory cannot be entered
 *   258  there is no name
 *   9    the working directory could not be entered again; replaces any of the above but 16 and 256
 *   0    the name is stored and *size is its size
 * Threads: changes the working directory of the process for the duration of the call. */
QVSUPT32_API uint32_t GetTmpFile(const char *directory, char *name, uint32_t *size);
QVSUPT32_API uint32_t SMGetTmpFile(const char *directory, char *name, uint32_t *size);

/* INI files
 * --------------------------------------------------------------------------------------------------------------
 *
 * A file is made of lines, which end with a line feed or after 8449 bytes where there is none so soon. What a line says
 * ends before its first zero byte; copying keeps all bytes. Blanks are spaces and tabs.
 *
 *   header    blanks, "[", name, "]" and anything. The name is what stands up to the first "]"; one longer than 255
 *             bytes names no section. A "[" behind blanks without a "]" is a malformed header.
 *   comment   ";" or "#" in the first column
 *   key line  blanks, key, "=", value. Blanks before "=" belong to the key, all that follows "=" to the value.
 *
 * Names compare byte by byte; of sections or keys that occur several times the first one counts. Names are at most 255
 * bytes long, values at most 8192. Names and values are written as they are given: one that holds a line feed, a name
 * that holds "]" or a key that holds "=" reads back as something else.
 *
 * A lock mode of 1 waits for the global file lock as FileLock does, any other mode tries once.
 *
 * The functions on streams are the steps of those on files: they start at the input's position, read no further than
 * they have to, write to the output and flush it, and hold no lock. */

/* Takes the name out of a header into a buffer of 256 bytes. Returns 0, -1 when the line is no header of a section
 * (name is left then), 261 for a malformed header. */
QVSUPT32_API uint32_t ParseForSection(const char *line, char *name);

/* Copies lines up to the first header of a section, and unless inclusive is 0 that header too. The input is behind the
 * header then.
 *   -1   no memory
 *   261  a malformed header, which is still copied, or a read error
 *   262  no such section
 *   19   a write failed
 *   0    the section is found */
QVSUPT32_API uint32_t FindSectionInclusive(const char *section, FILE *input, FILE *output, int16_t inclusive);

/* The same with its header. */
QVSUPT32_API uint32_t FindSection(const char *section, FILE *input, FILE *output);

/* Copies the rest of the input, which is behind a section's header, with the line of a key replaced by "key=value", or
 * dropped when value is null. A key that the section lacks is added before the next header, or as the last line.
 *   -1   no memory
 *   261  a read error
 *   19   a write failed
 *   0    copied to the end */
QVSUPT32_API uint32_t FindKeyUpdateValue(const char *key, const char *value, FILE *input, FILE *output);

/* Drops lines of the input up to the first that has "[" or "#" in its first column, and copies the rest.
 *   272  no memory
 *   261  a read error
 *   19   a write failed
 *   0    copied to the end */
QVSUPT32_API uint32_t FindNextSectionAndDump(FILE *input, FILE *output);

/* Appends a section with one key to a file, which is created when it is missing. All of it is on the disk at the end,
 * or none is in the file.
 *   264  value or key is null
 *   -1   no memory
 *   7    the file cannot be opened
 *   19   a write failed
 *   0    appended */
QVSUPT32_API uint32_t AppendValue(const char *section, const char *key, const char *value, const char *path);

/* Rewrites a file through a temporary one: sets the key, removes it when value is null, removes the section when key is
 * null. A section that is missing is added by the same rewrite where the path is the only name of a regular file, and
 * where that is not so, or fails, it is appended with AppendValue, whose statuses apply then.
 *   7         one of the files cannot be opened
 *   -1        no memory (272 when key is null)
 *   261       a malformed header before the section, or a read error
 *   19        a write failed, also when only the flush to the disk or the close shows it
 *   270, 258  as ReplaceFile
 *   0         the file is rewritten
 * On a failure but 258 the file is unchanged; the temporary file may stay, for the next rewrite to replace. After 261 it
 * holds the lines that were copied, a malformed header last. */
QVSUPT32_API uint32_t UpdateValue(const char *section, const char *key, const char *value, const char *path,
                                  const char *temporaryPath);

/* Store the names of all sections, or of all keys of a section, in the order of the file and each as often as it
 * occurs: every name with its terminator, and one terminator more at the end. The keys of a section end at the next
 * line that is a header.
 *   2    *size is below 2
 *   -1   no memory
 *   261  a malformed header (for keys only one before the section), or a read error
 *   262  no section, or not this one
 *   263  no key (GetAllKeys)
 *   16   the names do not fit: *size becomes the size that they take
 *   0    *size becomes the size of the names, without the last terminator
 * From 261 on the list holds the names that were found, as far as they fit; *size is left by all but 16 and 0. A buffer
 * of one byte more than the size of the names holds the list. */
QVSUPT32_API uint32_t GetAllSections(char *list, uint32_t *size, FILE *input);
QVSUPT32_API uint32_t GetAllKeys(const char *section, char *list, uint32_t *size, FILE *input);

/* Copies the value of a key.
 *   -1   no memory
 *   261  a malformed header before the section, or a read error
 *   262  no such section
 *   263  no such key
 *   16   the value does not fit: *size becomes the size needed, buffer is left
 *   0    *size becomes the value's size
 * *size is left by all but 16 and 0. */
QVSUPT32_API uint32_t GetValue(const char *section, const char *key, char *buffer, uint32_t *size, FILE *input);

/* Reads a value of a file, or lists a section's keys when key is null, or all sections when section is null.
 *   2    buffer, size or path is null, or *size is 0
 *   11   the lock was not obtained
 *   7    the file cannot be opened
 *   Then the statuses of GetValue, GetAllKeys and GetAllSections.
 * When a value is not found (any status from GetValue but 16 and 0), buffer receives the default, cut to *size and
 * terminated, and *size its size; without a default (null, or a size of 0) an empty text and 0. */
QVSUPT32_API uint32_t ReadINIFileValue_astring(const char *section, const char *key, char *buffer, uint32_t *size,
                                               const char *defaultText, uint32_t defaultSize, const char *path,
                                               int16_t lockMode);

/* Sets a key, with value null and a size of 0 removes it, with key null too removes the section. The directory of the
 * file is created when it is missing, and so are file, section and key.
 *   2    section or path is null; section or key is longer than 255 bytes
 *   264  valueSize is not the value's length + 1, is above 8193, or is not 0 without a value
 *   -1   the directory cannot be created
 *   11   the lock was not obtained
 *   Then the statuses of AppendValue for a file that is missing, else those of UpdateValue. */
QVSUPT32_API uint32_t WriteINIFileValue_astring(const char *section, const char *key, const char *value,
                                                uint32_t valueSize, const char *path, int16_t lockMode);

/* Typed values
 * ----------------------------------------------------------------------------------------------------------- */

/* Types of values, with the text that is stored and the sizes that are taken. Doubles look the same in every locale. */
#define SM_INI_TYPE_ASTRING 1 /* text as it stands; length + 1, at most 8193 */
#define SM_INI_TYPE_USTRING 2 /* UCS-2 text as the bytes that it has in memory, terminator included; at most 1638 */
#define SM_INI_TYPE_BINARY 3  /* bytes, as "0x01,0xAB"; 1 to 1638 */
#define SM_INI_TYPE_BOOLN 4   /* 16-bit, "TRUE" for 1, "FALSE" for anything else; 2 or more */
#define SM_INI_TYPE_U32 5     /* unsigned 32-bit, decimal; 4 or more */
#define SM_INI_TYPE_S32 6     /* signed 32-bit, decimal; 4 or more */
#define SM_INI_TYPE_U64 7     /* unsigned 64-bit, decimal; 8 or more */
#define SM_INI_TYPE_S64 8     /* signed 64-bit, decimal; 8 or more */
#define SM_INI_TYPE_D64 9     /* 64-bit IEEE double, eight decimals; 8 or more */

/* The words that booleans are written as, and read in any letter case. */
QVSUPT32_API extern const char *pStrTRUE;
QVSUPT32_API extern const char *pStrFALSE;

/* Read the text of a key and convert it.
 *   Bytes and UCS-2 text: pieces between commas, of which empty ones are skipped, as scanf(3) reads "%x", up to the
 *   first piece that is no number. *size becomes the number of bytes found, with 0 and with 16.
 *   Booleans: the first word between spaces. Numbers: as ASCIIToSigned64 and its relatives; 0 where there is none.
 * Statuses:
 *   2    section, key, value, size or path is null; *size is below the width of the type (bytes and UCS-2 text: 0); the
 *        default of a UCS-2 text has another size than 2 bytes a unit, terminator included. *size is left
 *   -1   no memory
 *   Then the statuses of ReadINIFileValue_astring.
 *   264  a number above 255 in a byte list (0xFFFFFFFF is taken for -1 and stored as 0xFF), no boolean word
 *   16   the bytes do not fit: those that do are stored
 *   0    the value is stored; *size is left by the types of fixed width
 * On any other status than 2 and 0 (bytes and UCS-2 text: and 16) value receives the default, cut to *size, and *size
 * its size, provided that the default has at least the width of the type (1 byte); otherwise *size becomes 0. */
QVSUPT32_API uint32_t ReadINIFileValue_ustring(const char *section, const char *key, void *value, uint32_t *size,
                                               const void *defaultValue, uint32_t defaultSize, const char *path,
                                               int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_binary(const char *section, const char *key, void *value, uint32_t *size,
                                              const void *defaultValue, uint32_t defaultSize, const char *path,
                                              int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_booln(const char *section, const char *key, void *value, uint32_t *size,
                                             const void *defaultValue, uint32_t defaultSize, const char *path,
                                             int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_u32(const char *section, const char *key, void *value, uint32_t *size,
                                           const void *defaultValue, uint32_t defaultSize, const char *path,
                                           int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_s32(const char *section, const char *key, void *value, uint32_t *size,
                                           const void *defaultValue, uint32_t defaultSize, const char *path,
                                           int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_u64(const char *section, const char *key, void *value, uint32_t *size,
                                           const void *defaultValue, uint32_t defaultSize, const char *path,
                                           int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_s64(const char *section, const char *key, void *value, uint32_t *size,
                                           const void *defaultValue, uint32_t defaultSize, const char *path,
                                           int16_t lockMode);
QVSUPT32_API uint32_t ReadINIFileValue_d64(const char *section, const char *key, void *value, uint32_t *size,
                                           const void *defaultValue, uint32_t defaultSize, const char *path,
                                           int16_t lockMode);

/* Store a value as text, or remove the key when value is null and size 0.
 *   2    section, key or path is null
 *   264  a size that the type does not take, or a size without a value
 *   -1   no memory
 *   Then the statuses of WriteINIFileValue_astring. */
QVSUPT32_API uint32_t WriteINIFileValue_ustring(const char *section, const char *key, const void *value, uint32_t size,
                                                const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_binary(const char *section, const char *key, const void *value, uint32_t size,
                                               const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_booln(const char *section, const char *key, const void *value, uint32_t size,
                                              const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_u32(const char *section, const char *key, const void *value, uint32_t size,
                                            const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_s32(const char *section, const char *key, const void *value, uint32_t size,
                                            const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_u64(const char *section, const char *key, const void *value, uint32_t size,
                                            const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_s64(const char *section, const char *key, const void *value, uint32_t size,
                                            const char *path, int16_t lockMode);
QVSUPT32_API uint32_t WriteINIFileValue_d64(const char *section, const char *key, const void *value, uint32_t size,
                                            const char *path, int16_t lockMode);

/* Reads a value of a type from an INI file: 2 for any other type, else the statuses of the type's reader. */
QVSUPT32_API uint32_t ReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value,
                                           uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                           const char *path, int16_t lockMode);
QVSUPT32_API uint32_t SMReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value,
                                             uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                             const char *path, int16_t lockMode);

/* Reads a value of a type from the file "ini/fileName" below the install directory of a product (paths.h).
 *   -1   the product has no install directory that exists
 *   2    fileName is null, or the path would be longer than 255 bytes
 *   Then the statuses of ReadINIPathFileValue. */
QVSUPT32_API uint32_t ReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value,
                                          uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                          uint32_t productID, const char *fileName, int16_t lockMode);
QVSUPT32_API uint32_t SMReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value,
                                            uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                            uint32_t productID, const char *fileName, int16_t lockMode);

/* The same for the library's own product, 35. */
QVSUPT32_API uint32_t SMReadINIFileValue(const char *section, const char *key, int32_t type, void *value,
                                         uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                         const char *fileName, int16_t lockMode);

/* Stores a value of a type in an INI file: 2 for any other type, else the statuses of the type's writer. */
QVSUPT32_API uint32_t WriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value,
                                            uint32_t size, const char *path, int16_t lockMode);
QVSUPT32_API uint32_t SMWriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value,
                                              uint32_t size, const char *path, int16_t lockMode);

/* Stores a value of a type in the file "ini/fileName" below the install directory of a product (paths.h).
 *   -1   the product has no install directory that exists
 *   2    fileName is null, or the path would be longer than 255 bytes
 *   Then the statuses of WriteINIPathFileValue. */
QVSUPT32_API uint32_t WriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value,
                                           uint32_t size, uint32_t productID, const char *fileName, int16_t lockMode);
QVSUPT32_API uint32_t SMWriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value,
                                             uint32_t size, uint32_t productID, const char *fileName, int16_t lockMode);

/* The same for the library's own product, 35. */
QVSUPT32_API uint32_t SMWriteINIFileValue(const char *section, const char *key, int32_t type, const void *value,
                                          uint32_t size, const char *fileName, int16_t lockMode);

/* Key=value files
 * --------------------------------------------------------------------------------------------------------
 *
 * Lines as in INI files. Before a line is looked at it is brought into its normal form: blanks and line ends around key
 * and value go, those inside the key too unless double quotes surround them, and then all double quotes. A line whose
 * normal form holds "=" and does not begin with "#" or ";" is an entry: its key stands before the first "=". Keys may
 * occur several times; occurrences are numbered from 0 in the order of the file. */

/* An entry. Both texts are blocks of the heap. */
typedef struct CFGUKeyValueEntry {
  char *key;
  char *value;
} CFGUKeyValueEntry;

/* Loads all entries of a file. Returns an array that the caller frees with CFGUFreeKeyValueEntries, and stores the
 * number of entries; null and 0 when path is null, there are no entries, or anything fails. */
QVSUPT32_API CFGUKeyValueEntry *CFGUGetKeyValueEntries(const char *path, uint32_t *count);
QVSUPT32_API CFGUKeyValueEntry *SMCFGGetKeyValueEntries(const char *path, uint32_t *count);

/* Frees the keys and values of the first count entries, except null ones, and the array. A null array does nothing. */
QVSUPT32_API void CFGUFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count);
QVSUPT32_API void SMCFGFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count);

/* Returns the value of an occurrence of a key, which stays the array's; null when there are fewer occurrences, and for
 * a null array or key. */
QVSUPT32_API char *CFGUGetKeyValue(const CFGUKeyValueEntry *entries, uint32_t count, const char *key,
                                   uint32_t occurrence);

/* Sets an occurrence of the entry's key to the entry's value, or removes its line when the value is null. The next
 * occurrence after the existing ones is added as the last line. The file must exist.
 *   271  path, entry or its key is null
 *   264  key and value together are longer than 8448 bytes
 *   -1   the directory of the file cannot be created, or a read error
 *   11   the lock was not obtained
 *   260  the file or the temporary file cannot be opened
 *   272  no memory
 *   19   a write failed, also when only the flush to the disk or the close shows it
 *   271  the occurrence is beyond the next one
 *   263  the occurrence to be removed is the next one, which does not exist
 *   270, 258  as ReplaceFile
 *   0    the file is rewritten
 * On a failure but 258 the file is unchanged. */
QVSUPT32_API uint32_t CFGUSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence);
QVSUPT32_API uint32_t SMCFGSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence);

/* The same for a key and a value that the caller does not have in an entry. Since 4.1. */
QVSUPT32_API uint32_t SMCFGSetKeyValue(const char *path, const char *key, const char *value, uint32_t occurrence);

/* Counts the entries of a file, or copies them into an array with room for *count of them.
 *   271  entries is null and *count is not 0
 *   11   the lock was not obtained
 *   -1   the file cannot be opened, or a read error
 *   272  no memory
 *   -1   entries is null, or the file holds more than *count entries: *count becomes their number
 *   0    *count becomes the number of entries copied
 * Only 0 leaves anything in the array: the caller frees the keys and values. */
QVSUPT32_API uint32_t PopulateKeyValueEntries(const char *path, CFGUKeyValueEntry *entries, uint32_t *count);

/* Brings a line into its normal form, in place. A line without "=" is left. */
QVSUPT32_API void CFGUEntryRemoveWhiteSpaceAndDQuotes(char *line);

/* Returns the index of the first "=", or -1. */
QVSUPT32_API int32_t CFGUEqualPosition(const char *text);

/* Returns the index of the first character that is no blank, of the terminator in a text of blanks; -1 for an empty
 * text. */
QVSUPT32_API int32_t CFGUGetFirstNonWhiteSpacePos(const char *text);

/* Deletes the first character of a text. */
QVSUPT32_API void CharsLeftShift(char *text);

QVSUPT32_END_C

#endif
