/* Settings: files and directories, INI files, typed values in them, key=value files.
 *
 * Paths, names and texts are zero-terminated 8-bit strings. Sizes are unsigned 32-bit byte counts with the terminator.
 * Pointers must not be null unless a declaration says what null does. Of two names for one function, a new component
 * uses the one with SM.
 *
 * Locks and threads. Every function that reads or writes an INI or key=value file by its path, except AppendValue and
 * UpdateValue, holds the global file lock while it does, so processes and threads that use the library never see a
 * change half made. Nothing is kept between calls. No function here may be called from a signal handler.
 *
 * Rewrites. The new content goes into a temporary file in the same directory ("qvpstr32.tmp", for key=value files
 * "qvcfgu32.tmp"), which is on the disk before one rename puts it in the place of the old file. Whatever fails before
 * that leaves the file as it was, and so does the death of the process at any instant. A temporary file that a failure
 * left is truncated by the next rewrite. A section that is missing is added the same way if the path is the only name
 * of the file; a file with more names, or one reached through a symbolic link, is appended to in place instead, and so
 * is one whose directory does not allow the rename.
 *
 * Power loss leaves the old content or the new one, never a part of either. The rename is not brought to the disk by
 * itself (syncing the directory would make a set take 1.6 times as long), so a machine that loses power may come up
 * with the content from before the sets of its last seconds. After an append in place it may hold the old content and a
 * part of the new lines. Where the rename fails and the old file is removed first (see ReplaceFile), only the temporary
 * file may be left.
 *
 * Permissions and strangers. Files get the permissions 0664, directories 0755 less the umask. In a directory that
 * belongs to another user than root and the caller, or that everybody may write to (without the sticky bit), a symbolic
 * link is not followed for writing, and a file of several names is neither appended to nor given other permissions: it
 * may lie elsewhere. Anything but a regular file, a directory and /dev/null (an empty file) is never opened for
 * reading: a pipe or another device may have no end. */
#ifndef QVSUPT32_STORE_H
#define QVSUPT32_STORE_H

#include <stdio.h>

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Files and directories -------------------------------------------------------------------------------------------- */

/* Creates a directory, the last component of its path only. SM_STATUS_SUCCESS (0) also if anything exists at the path
 * already, SM_STATUS_UNSUCCESSFUL (-1) for any other failure. */
QVSUPT32_API uint32_t CreateDir(const char *path);
QVSUPT32_API uint32_t SMMkDir(const char *path);

/* Removes an empty directory.
 *   SM_STATUS_BAD_TYPE (257)     the directory is not empty
 *   SM_STATUS_NOT_FOUND (256)    there is none
 *   SM_STATUS_UNSUCCESSFUL (-1)  any other failure
 *   SM_STATUS_SUCCESS (0)        removed */
QVSUPT32_API uint32_t DelDir(const char *path);
QVSUPT32_API uint32_t SMRmDir(const char *path);

/* Returns the size of an open file in bytes, and leaves its position; -1 if the size cannot be determined or exceeds
 * 2147483647. */
QVSUPT32_API int32_t GetStreamFileSize(FILE *stream);

/* Stores the size of a file in bytes. SM_STATUS_UNSUCCESSFUL (-1), with 0 stored, if the file cannot be opened for
 * reading or its size exceeds 2147483647. */
QVSUPT32_API uint32_t GetSizeOfFile(const char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetSizeOfFile(const char *path, uint32_t *size);

/* Gives a file the permissions 0664, which its other names keep, and removes this name; of a symbolic link only the
 * link. SM_STATUS_UNSUCCESSFUL (-1) if it cannot be removed. */
QVSUPT32_API uint32_t DelFile(const char *path);
QVSUPT32_API uint32_t SMDeleteFile(const char *path);

/* Gives the destination the permissions 0664 and puts the source in its place. That is one rename, without a moment in
 * which the destination is missing; if the rename fails, or both are names of one file, the destination is removed
 * first. Holds no lock.
 *   SM_STATUS_FILE_REPLACE_FAILED (270)  the destination cannot be removed, for example because it is missing: the
 *                                        source is left
 *   SM_STATUS_ALREADY_EXISTS (258)       the source cannot be renamed: the destination is gone
 *   SM_STATUS_SUCCESS (0)                the destination has the content of the source and the permissions 0664 */
QVSUPT32_API uint32_t ReplaceFile(const char *destination, const char *source);

/* Stores a name for a temporary file as tmpnam(3) makes it: it lies in the directory of the system for temporary files,
 * and somebody else may take it before the caller does.
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  *size is below 20, and becomes 20; or the path of the working directory takes more
 *                                    than 255 bytes
 *   SM_STATUS_NOT_FOUND (256)        the directory cannot be entered
 *   SM_STATUS_ALREADY_EXISTS (258)   there is no name
 *   SM_STATUS_CHDIR_FAILED (9)       the working directory could not be entered again, whatever else happened; the name
 *                                    may be stored
 *   SM_STATUS_SUCCESS (0)            the name is stored, and *size is its size
 * Threads: changes the working directory of the process for the duration of the call. */
QVSUPT32_API uint32_t GetTmpFile(const char *directory, char *name, uint32_t *size);
QVSUPT32_API uint32_t SMGetTmpFile(const char *directory, char *name, uint32_t *size);

/* INI files --------------------------------------------------------------------------------------------------------
 *
 * A file consists of lines, which end with a line feed, or after 8449 bytes if there is none so soon. The text of a
 * line ends before its first zero byte; copying keeps all bytes. Blanks are spaces and tabs.
 *
 *   header    blanks, "[", name, "]", anything. The name ends at the first "]"; a header with a name of more than 255
 *             bytes ends a section and starts none. A "[" after blanks without a "]" is a malformed header.
 *   comment   ";" or "#" in the first column
 *   key line  blanks, key, "=", value. Blanks before "=" belong to the key, everything after "=" to the value.
 *
 * Names compare byte by byte; of sections or keys that occur several times the first one counts. Names are at most 255
 * bytes long, values at most 8192. Names and values are written as they are given: one that contains a line feed, a
 * section that contains "]" or a key that contains "=" reads back as something else.
 *
 * A lock mode of SM_LOCK_WAIT waits for the global file lock as FileLock does, up to a minute; any other, such as
 * SM_LOCK_TRY, does not wait for another process.
 *
 * The functions on streams are the steps of those on files: they start at the position of the input, read no further
 * than they have to, write to the output and flush it, and hold no lock. */

/* Copies the name of a header into a buffer of 256 bytes. The name is left on any status but 0.
 *   SM_STATUS_UNSUCCESSFUL (-1)   the line is no header, or its name is longer than 255 bytes
 *   SM_STATUS_BAD_INI_FILE (261)  a malformed header
 *   SM_STATUS_SUCCESS (0)         a header */
QVSUPT32_API uint32_t ParseForSection(const char *line, char *name);

/* Copies lines up to the first header of a section, and, unless inclusive is 0, that header too. The position of the
 * input is then after the header.
 *   SM_STATUS_UNSUCCESSFUL (-1)        no memory
 *   SM_STATUS_BAD_INI_FILE (261)       a malformed header, which is still copied, or a read error
 *   SM_STATUS_SECTION_NOT_FOUND (262)  no such section: everything is copied
 *   SM_STATUS_SUCCESS (0)              the section is found
 *   SM_STATUS_LIMIT_EXCEEDED (19)      instead of any of the last three, if a write or the flush failed */
QVSUPT32_API uint32_t FindSectionInclusive(const char *section, FILE *input, FILE *output, int16_t inclusive);

/* The same with inclusive 1. */
QVSUPT32_API uint32_t FindSection(const char *section, FILE *input, FILE *output);

/* Copies the rest of the input, which is inside a section, with the line of a key replaced by "key=value", or left out
 * if value is null. Here a line without "=" is a key as a whole. A key that the section lacks is added before the next
 * header, or as the last line.
 *   SM_STATUS_UNSUCCESSFUL (-1)    no memory
 *   SM_STATUS_BAD_INI_FILE (261)   a read error
 *   SM_STATUS_SUCCESS (0)          copied to the end
 *   SM_STATUS_LIMIT_EXCEEDED (19)  instead of the last two, if a write or the flush failed */
QVSUPT32_API uint32_t FindKeyUpdateValue(const char *key, const char *value, FILE *input, FILE *output);

/* Leaves out lines of the input up to the first that has "[" or "#" in its first column, and copies the rest from that
 * line on.
 *   SM_STATUS_NO_MEMORY (272)      no memory
 *   SM_STATUS_BAD_INI_FILE (261)   a read error
 *   SM_STATUS_SUCCESS (0)          copied to the end
 *   SM_STATUS_LIMIT_EXCEEDED (19)  instead of the last two, if a write or the flush failed */
QVSUPT32_API uint32_t FindNextSectionAndDump(FILE *input, FILE *output);

/* Appends a section with one key in place, to a file that is created if it is missing. Takes no lock.
 *   SM_STATUS_BAD_DATA_SIZE (264)   value or key is null
 *   SM_STATUS_UNSUCCESSFUL (-1)     no memory
 *   SM_STATUS_FILE_OPEN_FAILED (7)  the file cannot be opened
 *   SM_STATUS_LIMIT_EXCEEDED (19)   a write or the sync failed; what was written is cut off again
 *   SM_STATUS_SUCCESS (0)           all of it is on the disk */
QVSUPT32_API uint32_t AppendValue(const char *section, const char *key, const char *value, const char *path);

/* Rewrites a file by way of a temporary file: sets the key, or removes it if value is null, or removes the section
 * (whatever value is) if key is null. Takes no lock.
 *   SM_STATUS_FILE_OPEN_FAILED (7)       one of the files cannot be opened, or they are the same
 *   SM_STATUS_UNSUCCESSFUL (-1)          no memory (SM_STATUS_NO_MEMORY (272) if key is null)
 *   SM_STATUS_BAD_INI_FILE (261)         a malformed header before the section, or a read error: the temporary file
 *                                        keeps the lines that were copied, with the malformed header last
 *   SM_STATUS_BAD_DATA_SIZE (264)        no such section, and value or key is null
 *   SM_STATUS_LIMIT_EXCEEDED (19)        a write failed, which may show at the sync or the close only
 *   SM_STATUS_FILE_REPLACE_FAILED (270)  as ReplaceFile
 *   SM_STATUS_ALREADY_EXISTS (258)       as ReplaceFile, and for a temporary path that is a device
 *   SM_STATUS_SUCCESS (0)                the file is rewritten, or the section added
 * If there is no such section, it is added by the same rewrite or appended in place, as the top of this file says, with
 * the statuses of AppendValue. On any status but 0 and 258 the file is unchanged; the temporary file may stay. */
QVSUPT32_API uint32_t UpdateValue(const char *section, const char *key, const char *value, const char *path,
                                  const char *temporaryPath);

/* Store the names of all sections of a file, or of all keys of a section, in the order of the file and each as often as
 * it occurs: every name with its terminator, and one more terminator at the end.
 *   SM_STATUS_BAD_ARGUMENT (2)         *size is below 2
 *   SM_STATUS_UNSUCCESSFUL (-1)        no memory
 *   SM_STATUS_BAD_INI_FILE (261)       a malformed header (in GetAllKeys only one before the section), or a read error
 *   SM_STATUS_SECTION_NOT_FOUND (262)  no section, or not this one
 *   SM_STATUS_KEY_NOT_FOUND (263)      no key in the section (GetAllKeys)
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the names do not fit: *size becomes their size, one byte more if that is exactly
 *                                      the size given
 *   SM_STATUS_SUCCESS (0)              *size becomes the size of the names, without the last terminator
 * From SM_STATUS_BAD_INI_FILE (261) on the list holds the names that were found, as far as they fit; *size changes with
 * 16 and 0 only. A buffer of one byte more than the size of the names holds the list. */
QVSUPT32_API uint32_t GetAllSections(char *list, uint32_t *size, FILE *input);
QVSUPT32_API uint32_t GetAllKeys(const char *section, char *list, uint32_t *size, FILE *input);

/* Copies the value of a key.
 *   SM_STATUS_UNSUCCESSFUL (-1)        no memory
 *   SM_STATUS_BAD_INI_FILE (261)       a malformed header before the section, or a read error
 *   SM_STATUS_SECTION_NOT_FOUND (262)  no such section
 *   SM_STATUS_KEY_NOT_FOUND (263)      no such key
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the value does not fit: *size becomes the size needed, buffer is left
 *   SM_STATUS_SUCCESS (0)              *size becomes the size of the value
 * *size changes with 16 and 0 only. */
QVSUPT32_API uint32_t GetValue(const char *section, const char *key, char *buffer, uint32_t *size, FILE *input);

/* Typed values ----------------------------------------------------------------------------------------------------- */

/* Types of values, with the text that is stored and the sizes that a write accepts. Doubles look the same in every
 * locale. Three numberings must not be mixed up: these, SM_TYPE_* of value.h and the types of objects (sdo.h). So 5 is
 * unsigned 32-bit here and another type there. */
#define SM_INI_TYPE_ASTRING 1 /* the text itself; length + 1, at most 8193 */
#define SM_INI_TYPE_USTRING 2 /* UCS-2 text, as the bytes that it has in memory, terminator included; at most 1638 */
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

/* Reads the text of a key; with key null lists the keys of the section as GetAllKeys does, with section null too the
 * sections.
 *   SM_STATUS_BAD_ARGUMENT (2)      buffer, size or path is null, or *size is 0
 *   SM_STATUS_LOCK_FAILED (11)      the lock was not obtained
 *   SM_STATUS_FILE_OPEN_FAILED (7)  the file cannot be opened
 *   Then the statuses of GetValue, GetAllKeys or GetAllSections.
 * Default: if a value was looked up and not found (261, 262, 263, -1), buffer receives the default, cut to *size and
 * terminated, and *size its size; without a default (null, or a size of 0) an empty text and 0. No default is stored
 * with 2, 7, 11 and 16. */
QVSUPT32_API uint32_t ReadINIFileValue_astring(const char *section, const char *key, char *buffer, uint32_t *size,
                                               const char *defaultText, uint32_t defaultSize, const char *path,
                                               int16_t lockMode);

/* Read the text of a key and convert it. Bytes and UCS-2 text: pieces between commas, of which empty ones are skipped,
 * are read as scanf(3) reads "%x", up to the first piece that is no number; *size becomes the number of bytes found,
 * with 0 and with 16. Booleans: the first word between spaces. Numbers: as ASCIIToSigned64 and its relatives, 0 if
 * there is none.
 *   SM_STATUS_BAD_ARGUMENT (2)       section, key, value, size or path is null; *size is below the width of the type
 *                                    (bytes and UCS-2 text: 1); the default of a UCS-2 text has another size than 2
 *                                    bytes a unit, terminator included
 *   SM_STATUS_UNSUCCESSFUL (-1)      no memory
 *   Then the statuses of ReadINIFileValue_astring for a value.
 *   SM_STATUS_BAD_DATA_SIZE (264)    a number above 255 in a byte list (0xFFFFFFFF counts as -1 and is stored as 0xFF),
 *                                    no boolean word
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  the bytes do not fit: those that do are stored. For the other types: a text of
 *                                    more than 8192 bytes
 *   SM_STATUS_SUCCESS (0)            the value is stored; *size is left by the types of fixed width
 * Default: on any other status than 2 and 0 (bytes and UCS-2 text: and 16), so also if the file or the lock is missing,
 * value receives the default, cut to *size, and *size its size, provided that the default has at least the width of the
 * type (1 byte); otherwise *size becomes 0. The status says whether the value is the default, the size does not. */
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

/* Sets the text of a key; with value null and a size of 0 removes the key, with key null too removes the section. The
 * directory of the file, one level, the file, the section and the key are created if they are missing.
 *   SM_STATUS_BAD_ARGUMENT (2)     section or path is null; section or key is longer than 255 bytes
 *   SM_STATUS_BAD_DATA_SIZE (264)  valueSize is not the length of the value + 1, or is above 8193, or is not 0 without
 *                                  a value
 *   SM_STATUS_UNSUCCESSFUL (-1)    the directory cannot be created
 *   SM_STATUS_LOCK_FAILED (11)     the lock was not obtained
 *   Then the statuses of AppendValue for a file that is missing, else those of UpdateValue. */
QVSUPT32_API uint32_t WriteINIFileValue_astring(const char *section, const char *key, const char *value,
                                                uint32_t valueSize, const char *path, int16_t lockMode);

/* Store a value as text, or remove the key if value is null and size is 0.
 *   SM_STATUS_BAD_ARGUMENT (2)     section, key or path is null
 *   SM_STATUS_BAD_DATA_SIZE (264)  a size that the type does not accept, or a size without a value
 *   SM_STATUS_UNSUCCESSFUL (-1)    no memory
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

/* Reads a value of a type from an INI file. SM_STATUS_BAD_ARGUMENT (2) for any other type than those above, else the
 * statuses of the function of the type; only type 1 lists sections and keys. */
QVSUPT32_API uint32_t ReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value,
                                           uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                           const char *path, int16_t lockMode);
QVSUPT32_API uint32_t SMReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value,
                                             uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                             const char *path, int16_t lockMode);

/* Reads a value of a type from the file "ini/fileName" below the install directory of a product (paths.h). The first
 * two statuses store no default.
 *   SM_STATUS_UNSUCCESSFUL (-1)  the product has no install directory, or it does not exist
 *   SM_STATUS_BAD_ARGUMENT (2)   fileName is null, or the path would be longer than 255 bytes
 *   Then the statuses of ReadINIPathFileValue. */
QVSUPT32_API uint32_t ReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value,
                                          uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                          uint32_t productID, const char *fileName, int16_t lockMode);
QVSUPT32_API uint32_t SMReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value,
                                            uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                            uint32_t productID, const char *fileName, int16_t lockMode);

/* The same for the product of the library, SM_PRODUCT_VELA. */
QVSUPT32_API uint32_t SMReadINIFileValue(const char *section, const char *key, int32_t type, void *value,
                                         uint32_t *size, const void *defaultValue, uint32_t defaultSize,
                                         const char *fileName, int16_t lockMode);

/* Stores a value of a type in an INI file. SM_STATUS_BAD_ARGUMENT (2) for any other type than those above, else the
 * statuses of the function of the type; only type 1 removes sections. */
QVSUPT32_API uint32_t WriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value,
                                            uint32_t size, const char *path, int16_t lockMode);
QVSUPT32_API uint32_t SMWriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value,
                                              uint32_t size, const char *path, int16_t lockMode);

/* Stores a value of a type in the file "ini/fileName" below the install directory of a product (paths.h).
 *   SM_STATUS_UNSUCCESSFUL (-1)  the product has no install directory, or it does not exist
 *   SM_STATUS_BAD_ARGUMENT (2)   fileName is null, or the path would be longer than 255 bytes
 *   Then the statuses of WriteINIPathFileValue. */
QVSUPT32_API uint32_t WriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value,
                                           uint32_t size, uint32_t productID, const char *fileName, int16_t lockMode);
QVSUPT32_API uint32_t SMWriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value,
                                             uint32_t size, uint32_t productID, const char *fileName, int16_t lockMode);

/* The same for the product of the library, SM_PRODUCT_VELA. */
QVSUPT32_API uint32_t SMWriteINIFileValue(const char *section, const char *key, int32_t type, const void *value,
                                          uint32_t size, const char *fileName, int16_t lockMode);

/* Key=value files --------------------------------------------------------------------------------------------------
 *
 * Lines as in INI files. A line is compared in its normal form: blanks and line ends around key and value are dropped,
 * those inside the key too unless double quotes surround them, and then all double quotes. A line whose normal form
 * contains "=" and does not begin with "#" or ";" is an entry: its key ends at the first "=". Keys may occur several
 * times; occurrences are numbered from 0 in the order of the file. */

/* An entry. Both texts are blocks of the heap. */
typedef struct CFGUKeyValueEntry {
  char *key;
  char *value;
} CFGUKeyValueEntry;

/* Loads all entries of a file. Returns an array that the caller frees with CFGUFreeKeyValueEntries, and stores the
 * number of entries. Null with a count of 0 says one of: path is null, the file is missing or cannot be read, it has no
 * entries, the lock was not obtained, no memory. Only PopulateKeyValueEntries distinguishes these. */
QVSUPT32_API QVSUPT32_OWNED CFGUKeyValueEntry *CFGUGetKeyValueEntries(const char *path, uint32_t *count);
QVSUPT32_API QVSUPT32_OWNED CFGUKeyValueEntry *SMCFGGetKeyValueEntries(const char *path, uint32_t *count);

/* Frees the keys and values of the first count entries, except null ones, and the array. A null array does nothing. */
QVSUPT32_API void CFGUFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count);
QVSUPT32_API void SMCFGFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count);

/* Returns the value of an occurrence of a key; it belongs to the array. Null if there are fewer occurrences, and for a
 * null array or key. */
QVSUPT32_API char *CFGUGetKeyValue(const CFGUKeyValueEntry *entries, uint32_t count, const char *key,
                                   uint32_t occurrence);

/* Sets an occurrence of the key of an entry to its value, or removes the line if the value is null. The next occurrence
 * after the existing ones is added as the last line. The file must exist, an empty one will do; its directory is
 * created all the same.
 *   SM_STATUS_INVALID_PARAMETER (271)    path, entry or its key is null
 *   SM_STATUS_BAD_DATA_SIZE (264)        key and value together are longer than 8448 bytes
 *   SM_STATUS_UNSUCCESSFUL (-1)          the directory of the file cannot be created
 *   SM_STATUS_LOCK_FAILED (11)           the lock was not obtained
 *   SM_STATUS_FILE_NOT_OPENED (260)      the file or the temporary file cannot be opened, or they are the same
 *   SM_STATUS_NO_MEMORY (272)            no memory
 *   SM_STATUS_UNSUCCESSFUL (-1)          a read error
 *   SM_STATUS_INVALID_PARAMETER (271)    the occurrence is beyond the next one
 *   SM_STATUS_KEY_NOT_FOUND (263)        the occurrence to remove is the next one, which does not exist
 *   SM_STATUS_LIMIT_EXCEEDED (19)        a write failed, which may show at the sync or the close only
 *   SM_STATUS_FILE_REPLACE_FAILED (270)  as ReplaceFile
 *   SM_STATUS_ALREADY_EXISTS (258)       as ReplaceFile
 *   SM_STATUS_SUCCESS (0)                the file is rewritten
 * On any status but 0 and 258 the file is unchanged; the temporary file may stay. */
QVSUPT32_API uint32_t CFGUSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence);
QVSUPT32_API uint32_t SMCFGSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence);

/* The same for a key and a value that are not in an entry. Since 4.1. */
QVSUPT32_API uint32_t SMCFGSetKeyValue(const char *path, const char *key, const char *value, uint32_t occurrence);

/* Counts the entries of a file, or copies them into an array of *count entries.
 *   SM_STATUS_INVALID_PARAMETER (271)  entries is null and *count is not 0
 *   SM_STATUS_LOCK_FAILED (11)         the lock was not obtained
 *   SM_STATUS_UNSUCCESSFUL (-1)        path is null, the file cannot be opened, or a read error: *count is left
 *   SM_STATUS_NO_MEMORY (272)          no memory
 *   SM_STATUS_UNSUCCESSFUL (-1)        entries is null, or the file has more than *count entries: *count becomes their
 *                                      number
 *   SM_STATUS_SUCCESS (0)              *count becomes the number of entries copied
 * Only 0 leaves entries in the array: the caller frees the keys and values. On any other status the entries that were
 * filled are null again. */
QVSUPT32_API uint32_t PopulateKeyValueEntries(const char *path, CFGUKeyValueEntry *entries, uint32_t *count);

/* Brings a line into its normal form, in place. A line without "=" is left. */
QVSUPT32_API void CFGUEntryRemoveWhiteSpaceAndDQuotes(char *line);

/* Returns the index of the first "=", or -1. */
QVSUPT32_API int32_t CFGUEqualPosition(const char *text);

/* Returns the index of the first character that is no blank, which in a text of blanks is the terminator; -1 for an
 * empty text. */
QVSUPT32_API int32_t CFGUGetFirstNonWhiteSpacePos(const char *text);

/* Deletes the first character of a text. */
QVSUPT32_API void CharsLeftShift(char *text);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
