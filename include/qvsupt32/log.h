/* Event logs: a UCS-2 text log, an XML log, the system log, and one call that writes an event to any of them.
 *
 * UCS-2 texts and paths are zero-terminated; lengths of texts are in code units. Every append holds the global file
 * lock from before the log is opened until after it is closed, so records of several processes and threads follow one
 * another whole.
 *
 * Size. An append takes a maximum size in bytes. If the record would bring the log to that size or past it, the log is
 * first moved to its backup name (the path with its last character replaced by "_"), where it replaces an older backup,
 * and the new log begins with a record that says so. The XML log counts an entry by its bytes, the text log by an
 * estimate (see AppendToUNITXTLog). A maximum of 0 moves the log before every record; there is no value for "no limit",
 * but 4294967295 is never reached. A move that fails is not reported: the log then grows past its maximum. A log of
 * more than 2147483647 bytes is neither moved nor appended to.
 *
 * Files. Logs and backups have mode 0664 whatever the umask, and get it again at every append; a directory that an
 * append creates has mode 0755 less the umask.
 *
 * Kill and power loss. A record goes into the log with one write, so a process that is killed before or after it leaves
 * whole records only. Killed inside that write, which can happen where a record passes a page of 4096 bytes, it leaves
 * the first pages of it: in the text log a record that is cut short, after which appends go on; in the XML log an entry
 * without the closing tag, which was under it, so that later appends are refused with SM_STATUS_BAD_TYPE until the log
 * is repaired (append "</EventLog>"), cleared or moved. Logs are not synced: a machine that loses power may lose the
 * records of its last seconds, keep a part of them, or hold zeros in their place; older records are not touched, except
 * that the XML log can lack its closing tag as above. A move syncs the names in the directory before the new log is made,
 * so that the old records keep a name.
 *
 * No function here may be called from a signal handler. */
#ifndef QVSUPT32_LOG_H
#define QVSUPT32_LOG_H

#include <stdio.h>

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Event types. */
#define SM_EVENT_SUCCESS 0u
#define SM_EVENT_ERROR 1u
#define SM_EVENT_WARNING 2u
#define SM_EVENT_INFORMATION 4u
#define SM_EVENT_AUDIT_SUCCESS 8u
#define SM_EVENT_AUDIT_FAILURE 16u

/* The text log ------------------------------------------------------------------------------------------------------
 *
 * A file of UTF-16 with the low byte first, in lines that end with a carriage return and a line feed: a header of 256
 * bytes, which begins with the byte-order mark, and records. */

/* The texts of a log: the header of the file, the labels of a record in their order, the type lines, and the
 * descriptions of the records that the log writes by itself. Zero-terminated, English, not localized. */
QVSUPT32_API extern const SMChar16 uniTXTFileHdr[129];
QVSUPT32_API extern const SMChar16 uniEventID_en_US[9];
QVSUPT32_API extern const SMChar16 uniSource_en_US[8];
QVSUPT32_API extern const SMChar16 uniTypeSuccess_en_US[11];
QVSUPT32_API extern const SMChar16 uniTypeError_en_US[12];
QVSUPT32_API extern const SMChar16 uniTypeWarning_en_US[14];
QVSUPT32_API extern const SMChar16 uniTypeInformation_en_US[18];
QVSUPT32_API extern const SMChar16 uniTypeAuditSucc_en_US[20];
QVSUPT32_API extern const SMChar16 uniTypeAuditFail_en_US[20];
QVSUPT32_API extern const SMChar16 uniDateTime_en_US[15];
QVSUPT32_API extern const SMChar16 uniComputer_en_US[10];
QVSUPT32_API extern const SMChar16 uniDesc_en_US[13];
QVSUPT32_API extern const SMChar16 uniData_en_US[19];
QVSUPT32_API extern const SMChar16 uniLogCleared_en_US[16];
QVSUPT32_API extern const SMChar16 uniLogBackupCreated_en_US[19];

/* Single units: carriage return, line feed, space, tab. */
QVSUPT32_API extern const SMChar16 uniCR;
QVSUPT32_API extern const SMChar16 uniLF;
QVSUPT32_API extern const SMChar16 uniWhiteSpace;
QVSUPT32_API extern const SMChar16 uniTab;

/* Appends a record to a text log. A missing log is created, and so is its directory (the last component of its path).
 * description may be null; data may be null if dataSize is 0. The event ID is written as a signed number. For the
 * backup the record counts 2 * (units of source and description + 83 * (dataSize / 16)) + 2214 bytes, which is more
 * than most records take.
 *   SM_STATUS_BAD_ARGUMENT (2)     path or source is null; data is null and dataSize is not 0; dataSize is above 32768;
 *                                  source is not 1 to 1023 units long; description is given and not 1 to 16383 units
 *                                  long
 *   SM_STATUS_UNSUCCESSFUL (-1)    the directory cannot be created
 *   Then the log may be moved to its backup name.
 *   SM_STATUS_BAD_ARGUMENT (2)     eventType is none of the types above
 *   SM_STATUS_LOCK_FAILED (11)     the lock was not obtained
 *   SM_STATUS_UNSUCCESSFUL (-1)    the log cannot be opened for writing or has no size of 31 bits; no memory
 *   SM_STATUS_LIMIT_EXCEEDED (19)  a write failed, also if only the close reports it
 *   SM_STATUS_UNSUCCESSFUL (-1)    the time or the host name is unavailable; the record ends before it
 *   SM_STATUS_SUCCESS (0)          appended
 * A failed write leaves a part of the record in the log. */
QVSUPT32_API uint32_t AppendToUNITXTLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                        const SMChar16 *description, const void *data, uint32_t dataSize,
                                        uint32_t maximumSize);

/* Deletes a text log and starts it again with a record "Log was cleared". The statuses of DeleteLogFile, also for a log
 * that is missing, then those of AppendToUNITXTLog. */
QVSUPT32_API uint32_t ClearUNITXTLog(const char *path, const SMChar16 *source);

/* The pieces of a text log on a stream, each flushed. No pointer may be null, except data of size 0. All of them return
 * SM_STATUS_SUCCESS (0), SM_STATUS_LIMIT_EXCEEDED (19) if a write failed, and as declared. */

/* Writes the header of the file if the stream has 255 bytes or less. SM_STATUS_UNSUCCESSFUL (-1): its size cannot be
 * determined. */
QVSUPT32_API uint32_t UniAppendHdr(FILE *stream);

/* Writes a text without its terminator. */
QVSUPT32_API uint32_t UniAppendUStr(FILE *stream, const SMChar16 *text);

/* Write `count` spaces, tabs or line ends. SM_STATUS_BAD_ARGUMENT (2): count is 0. */
QVSUPT32_API uint32_t UniAppendWhiteSpace(FILE *stream, uint32_t count);
QVSUPT32_API uint32_t UniAppendTab(FILE *stream, uint32_t count);
QVSUPT32_API uint32_t UniAppendCRLF(FILE *stream, uint32_t count);

/* Writes a number in decimal, as a signed one. SM_STATUS_UNSUCCESSFUL (-1): it cannot be converted. */
QVSUPT32_API uint32_t UniAppendUnSigned32Int(FILE *stream, uint32_t value);

/* Writes a time as local time in the 24 characters of ctime(3). SM_STATUS_UNSUCCESSFUL (-1): it cannot be converted. */
QVSUPT32_API uint32_t UniAppendDateTime(FILE *stream, const int32_t *seconds);

/* Writes the host's name. SM_STATUS_UNSUCCESSFUL (-1): it is unavailable, longer than 63 bytes, or not UTF-8. */
QVSUPT32_API uint32_t UniAppendHostName(FILE *stream);

/* Writes the hexadecimal dump of data (see BufToUCS2Str). SM_STATUS_UNSUCCESSFUL (-1): no memory. */
QVSUPT32_API uint32_t UniAppendBufferDump(FILE *stream, uint32_t ignored, const void *data, uint32_t dataSize);

/* Files of both logs ----------------------------------------------------------------------------------------------- */

/* Creates the directory of a log's path, its last component only. A path without a directory needs none; it must not
 * be null.
 *   SM_STATUS_UNSUCCESSFUL (-1)  it cannot be created
 *   SM_STATUS_SUCCESS (0)        it exists */
QVSUPT32_API uint32_t CreateLogDir(const char *path);

/* Removes a log under the global file lock.
 *   SM_STATUS_LOCK_FAILED (11)   the lock was not obtained
 *   SM_STATUS_UNSUCCESSFUL (-1)  there is no log, or it cannot be removed
 *   SM_STATUS_SUCCESS (0)        removed */
QVSUPT32_API uint32_t DeleteLogFile(const char *path);

/* Stores the backup name of a path, of a log of either kind: its last character replaced by "_". A null buffer with a
 * *size that is too small, such as 0, asks for the size.
 *   SM_STATUS_INVALID_PARAMETER (271)  path or size is null, the path has less than 2 characters, or buffer is null and
 *                                      *size is large enough
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is too small and becomes the size needed
 *   SM_STATUS_SUCCESS (0)              *size is the size of the name */
QVSUPT32_API uint32_t GetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size);

/* Moves a log to its backup name, where it replaces an older backup.
 *   SM_STATUS_INVALID_PARAMETER (271)  as GetBackupXMLLogPathFileName
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the path is longer than 255 bytes
 *   SM_STATUS_LOCK_FAILED (11)         the lock was not obtained
 *   SM_STATUS_UNSUCCESSFUL (-1)        there is no log, or it cannot be moved
 *   SM_STATUS_SUCCESS (0)              moved */
QVSUPT32_API uint32_t BackupLogFile(const char *path);

/* Moves a log to its backup name if a record of the size given would bring it to a maximum size, and stores 1 if it was
 * moved, else 0: also where moving failed. The size is looked at again under the lock, so that of several processes one
 * moves the log. backedUp must not be null. */
QVSUPT32_API void CheckBackupLogFile(const char *path, uint32_t maximumSize, uint32_t recordSize, SMBool *backedUp);

/* The XML log -------------------------------------------------------------------------------------------------------
 *
 * A file of UTF-8 without line breaks of its own: a header, "<EventLog>", one LogEntry element an event, "</EventLog>".
 * A file of 64 bytes or less counts as empty. Texts go in as they are given: markup in them is not escaped, and text
 * with markup makes the log unreadable for XML parsers. SMEscapeXMLText makes text that is safe:
 *
 *   SMChar16 *escaped = SMEscapeXMLText(description);
 *   SMAppendToXMLLog(path, SM_EVENT_ERROR, 7, NULL, source, escaped, NULL, 0, 1048576);
 *   SMFreeMem(escaped);
 */

/* The header, and the tags around the entries. */
QVSUPT32_API extern const char xmlLogFileHdr[66];
QVSUPT32_API extern const char xmlLogBeginTag[11];
QVSUPT32_API extern const char xmlLogEndTag[12];

/* Appends an entry to an XML log. A missing log is created, and so is its directory. userInfo, source and description
 * may be null, and so may data if dataSize is 0; every event type is accepted. A text with half a surrogate pair leaves
 * its element empty. The entry goes over the closing tag nearest to the end of the file, followed by a new one; what
 * came after the old tag is overwritten as far as that reaches. The limits count text as it is given, escaped text by
 * its escaped length.
 *   SM_STATUS_BAD_ARGUMENT (2)     path is null; data is null and dataSize is not 0; dataSize is above 32768; userInfo
 *                                  or source is given and not 1 to 1023 units long; description is given and not 1 to
 *                                  16383 units long
 *   SM_STATUS_UNSUCCESSFUL (-1)    the directory cannot be created, the time is unavailable, or no memory
 *   SM_STATUS_NOT_LOADED (17), SM_STATUS_UNSUCCESSFUL (-1)  the host name is unavailable (see GetIPHostName)
 *   Then the log may be moved to its backup name.
 *   SM_STATUS_LOCK_FAILED (11)     the lock was not obtained
 *   SM_STATUS_UNSUCCESSFUL (-1)    the log cannot be opened for reading and writing or has no size of 31 bits; no
 *                                  memory
 *   SM_STATUS_BAD_TYPE (257)       the log has no closing tag after its first 65 bytes, or cannot be read: it is
 *                                  unchanged, also by every later append
 *   SM_STATUS_LIMIT_EXCEEDED (19)  a write failed, also if only the close reports it; after a short write the old
 *                                  closing tag is put back and is the end of the log (a new log is empty again)
 *   SM_STATUS_SUCCESS (0)          appended */
QVSUPT32_API uint32_t AppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                                     const SMChar16 *source, const SMChar16 *description, const void *data,
                                     uint32_t dataSize, uint32_t maximumSize);
QVSUPT32_API uint32_t SMAppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                                       const SMChar16 *source, const SMChar16 *description, const void *data,
                                       uint32_t dataSize, uint32_t maximumSize);

/* Escapes text for the XML log (since 4.1). Returns a copy that the caller frees with SMFreeMem; null if text is null
 * or memory is exhausted. "&", "<", ">", the quote and the apostrophe become "&amp;", "&lt;", "&gt;", "&quot;" and
 * "&apos;", a carriage return "&#13;"; tabs, line feeds and surrogate pairs stay; units that XML 1.0 has no character
 * for, and halves of pairs, become U+FFFD. Text that is escaped already is escaped again. A copy has at most 6 times
 * the units. Threads: may run in parallel. */
QVSUPT32_API __attribute__((malloc, warn_unused_result)) SMChar16 *SMEscapeXMLText(const SMChar16 *text);

/* Deletes an XML log and starts it again with an entry "Log was cleared". The statuses of DeleteLogFile, also for a log
 * that is missing, then those of AppendToXMLLog. */
QVSUPT32_API uint32_t ClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source);
QVSUPT32_API uint32_t SMClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source);

/* Starts an XML log that is missing, whose size cannot be determined, or that has 64 bytes or less, as ClearXMLLog
 * starts it; the statuses of AppendToXMLLog. Any other log is left, whatever it holds: SM_STATUS_SUCCESS (0). */
QVSUPT32_API uint32_t ForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source);
QVSUPT32_API uint32_t SMForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source);

/* All logs of the suite ---------------------------------------------------------------------------------------------
 *
 * A selector is a sum of the bits below; other bits are ignored. The files lie in the directory "log" below the install
 * directory of the library's own product (see paths.h). */

#define SMLOG_OSSYSLOG 2u /* the system log, see syslog(3) */
#define SMLOG_UNITXT 4u   /* the text log "qvsys32.log" */
#define SMLOG_XML 8u      /* the XML log "qvsys32.xml" */

/* The maximum sizes of the two logs in this process, 1048576 bytes each at load. Callers use the functions below. */
QVSUPT32_API extern uint32_t smUNITXTLogMaxSize;
QVSUPT32_API extern uint32_t smXMLLogMaxSize;

/* User information and source of the entries that the logs write by themselves: "Local System" and "VELA". */
QVSUPT32_API extern const SMChar16 defaultUserInfo_en_US[13];
QVSUPT32_API extern const SMChar16 defaultSource_en_US[5];

/* Stores the path of a log, of the XML log if both files are selected. The XML log is created if ForceXMLLogExists
 * finds none: the path is stored also where that fails. size must not be null, path only if *size is below 256.
 *   SM_STATUS_BAD_ARGUMENT (2)                         selector is 0
 *   SM_STATUS_NOT_SUPPORTED (1)                        the system log is selected, which has no file
 *   SM_STATUS_BUFFER_TOO_SMALL (16)                    *size is below 256 and becomes 256
 *   SM_STATUS_NOT_FOUND (256), SM_STATUS_BAD_TYPE (257)  the product has no install directory
 *   SM_STATUS_BAD_ARGUMENT (2)                         the path is longer than 255 bytes
 *   Then, for the XML log, the statuses of ForceXMLLogExists.
 *   SM_STATUS_SUCCESS (0)                              *size is the path's size; path and *size are left if no file is
 *                                                      selected */
QVSUPT32_API uint32_t GetSMLogPathFileName(uint8_t selector, char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetLogPathFileName(uint8_t selector, char *path, uint32_t *size);

/* Stores the backup path of a log. If the XML log is selected, it is created as GetSMLogPathFileName creates it, and so
 * is an XML log under the backup path; nothing is created for the text log. If no file is selected, path and *size are
 * left. The statuses of GetSMLogPathFileName, except those for its size, then of GetBackupXMLLogPathFileName, then of
 * ForceXMLLogExists. */
QVSUPT32_API uint32_t GetBackupSMLogPathFileName(uint8_t selector, char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetBackupLogPathFileName(uint8_t selector, char *path, uint32_t *size);

/* Store or set the maximum size of a log, of the text log if both files are selected. The size is that of this process;
 * appends that are under way may still use the old one. The pointer must not be null.
 *   SM_STATUS_BAD_ARGUMENT (2)         selector is 0
 *   SM_STATUS_INVALID_PARAMETER (271)  (set) maximumSize is not 1048576 to 4194304
 *   SM_STATUS_NOT_SUPPORTED (1)        no file is selected
 *   SM_STATUS_LOCK_FAILED (11)         the lock was not obtained
 *   SM_STATUS_SUCCESS (0)              stored or set */
QVSUPT32_API uint32_t GetSMLogMaxSize(uint8_t selector, uint32_t *maximumSize);
QVSUPT32_API uint32_t SMGetLogMaxSize(uint8_t selector, uint32_t *maximumSize);
QVSUPT32_API uint32_t SetSMLogMaxSize(uint8_t selector, uint32_t maximumSize);
QVSUPT32_API uint32_t SMSetLogMaxSize(uint8_t selector, uint32_t maximumSize);

/* Writes an event to the selected logs: the system log, the text log and the XML log in this order, each as its own
 * function does. An XML log that does not exist is created as GetSMLogPathFileName creates it. The statuses of the
 * system log and of the text log are not reported: an event of a wrong type or without a source is missing there.
 *   SM_STATUS_BAD_ARGUMENT (2)                         selector is 0
 *   SM_STATUS_NOT_FOUND (256), SM_STATUS_BAD_TYPE (257)  the product has no install directory: no file is written
 *   SM_STATUS_BAD_ARGUMENT (2)                         the path of a log is longer than 255 bytes
 *   Then, if the XML log is selected, the statuses of ForceXMLLogExists and of AppendToXMLLog.
 *   SM_STATUS_SUCCESS (0)                              no failure was reported */
QVSUPT32_API uint32_t AppendToSMLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                    const SMChar16 *description, const void *data, uint32_t dataSize);
QVSUPT32_API uint32_t SMAppendToLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                    const SMChar16 *description, const void *data, uint32_t dataSize);

/* Clears the selected log files, the text log first; the first failure ends the call.
 *   SM_STATUS_BAD_ARGUMENT (2)   selector is 0
 *   SM_STATUS_NOT_SUPPORTED (1)  the system log is selected: nothing is cleared
 *   Then the statuses of GetSMLogPathFileName, ClearUNITXTLog and ClearXMLLog. */
QVSUPT32_API uint32_t ClearSMLog(uint8_t selector, const SMChar16 *source);
QVSUPT32_API uint32_t SMClearLog(uint8_t selector, const SMChar16 *source);

/* Writes a line to the system log: the text of string 768 in the language of the process, the event ID and the
 * description, with spaces for carriage returns. Of more than 1023 units it is truncated after the last whole
 * character. The priority is LOG_ERR for SM_EVENT_ERROR, LOG_WARNING for SM_EVENT_WARNING and LOG_INFO for all others,
 * the facility LOG_DAEMON, the identity the source. A null source or description counts as empty; data is ignored.
 *   SM_STATUS_UNSUCCESSFUL (-1)      no memory
 *   SM_STATUS_BAD_TYPE (257)         the source has half a surrogate pair
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  the source as UTF-8 takes more than 6 bytes beyond its units, terminator included
 *   SM_STATUS_UNSUCCESSFUL (-1)      no memory, or string 768 is not available
 *   SM_STATUS_BAD_TYPE (257)         the line has half a surrogate pair
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  the line as UTF-8 takes more than 2048 bytes, terminator included
 *   SM_STATUS_LOCK_FAILED (11)       another thread of the library did not finish its line within the time of
 *                                    FileLock(1)
 *   SM_STATUS_SUCCESS (0)            handed to syslog(3)
 * Threads: calls of the library take turns. A program that uses syslog(3) itself loses its own connection and identity
 * to this call, as openlog(3) and closelog(3) belong to the process. */
QVSUPT32_API uint32_t OSAppendToSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                       const SMChar16 *description, const void *data, uint32_t dataSize);
QVSUPT32_API uint32_t SMAppendToOSSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                         const SMChar16 *description, const void *data, uint32_t dataSize);

/* Replaces every carriage return of a text by a space. A null text is left. */
QVSUPT32_API void RemoveCarriageReturns(char *text);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
