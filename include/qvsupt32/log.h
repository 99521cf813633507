/* Event logs: a UCS-2 text log, an XML log, the system log, and one call that writes an event to any of them.
 *
 * UCS-2 texts and paths are zero-terminated; lengths of texts are in code units. Every append takes the global file lock
 * from before the log is opened until after it is closed, so records of several processes and threads follow one another
 * whole. Before a record would bring a log to its maximum size, the log is moved to its backup name (the path with its
 * last character replaced by "_"), where it replaces an older backup.
 *
 * A process that is killed while it appends may leave its own record cut short, and nothing else; the next append goes on
 * behind it or over it, since an XML log has a closing tag at every instant. Logs are not flushed to the disk, so a
 * machine that loses power may lose its last records. */
#ifndef QVSUPT32_LOG_H
#define QVSUPT32_LOG_H

#include <stdio.h>

#include "types.h"

QVSUPT32_BEGIN_C

/* Event types. */
#define SM_EVENT_SUCCESS 0u
#define SM_EVENT_ERROR 1u
#define SM_EVENT_WARNING 2u
#define SM_EVENT_INFORMATION 4u
#define SM_EVENT_AUDIT_SUCCESS 8u
#define SM_EVENT_AUDIT_FAILURE 16u

/* The text log
 * -------------------------------------------------------------------------------------------------------------
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

/* Appends a record to a text log, which is created when it is missing, and so is its directory (the last component of
 * its path). description may be null; data may be null when dataSize is 0. The event ID shows as a signed number.
 *   2    path or source is null; data is null and dataSize is not 0; dataSize is above 32768; a source that is not 1 to
 *        1023 units long, a description that is given and not 1 to 16383 units long
 *   -1   the directory cannot be created
 *   Then the log may be moved to its backup name, with a record of it in the new log.
 *   2    no event type of the table above
 *   11   the lock was not obtained
 *   -1   the log cannot be opened or its size not be taken, no memory, or the host name cannot be had
 *   19   a write failed, also when only the close shows it
 *   0    appended
 * What was written when a write failed stays in the log, and so does what stands before a host name that cannot be
 * had. */
QVSUPT32_API uint32_t AppendToUNITXTLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                        const SMChar16 *description, const void *data, uint32_t dataSize,
                                        uint32_t maximumSize);

/* Deletes a text log and starts it again with a record that says so. Statuses: those of DeleteLogFile, with which a log
 * that is missing ends too, then those of AppendToUNITXTLog. */
QVSUPT32_API uint32_t ClearUNITXTLog(const char *path, const SMChar16 *source);

/* The pieces of a text log on a stream, each flushed. They return 0, 19 when a write failed, and as declared. */

/* Writes the header of the file when the stream has 255 bytes or less; -1 when its size cannot be taken. */
QVSUPT32_API uint32_t UniAppendHdr(FILE *stream);

/* Writes a text without its terminator. */
QVSUPT32_API uint32_t UniAppendUStr(FILE *stream, const SMChar16 *text);

/* Write a number of spaces, tabs or line ends; 2 when count is 0. */
QVSUPT32_API uint32_t UniAppendWhiteSpace(FILE *stream, uint32_t count);
QVSUPT32_API uint32_t UniAppendTab(FILE *stream, uint32_t count);
QVSUPT32_API uint32_t UniAppendCRLF(FILE *stream, uint32_t count);

/* Writes a number in decimal, as a signed one; -1 when it cannot be converted. */
QVSUPT32_API uint32_t UniAppendUnSigned32Int(FILE *stream, uint32_t value);

/* Writes a time as local time in the 24 characters of ctime(3); -1 when it cannot be converted. */
QVSUPT32_API uint32_t UniAppendDateTime(FILE *stream, const int32_t *seconds);

/* Writes the host's name; -1 when it cannot be had or is longer than 63 bytes. */
QVSUPT32_API uint32_t UniAppendHostName(FILE *stream);

/* Writes the hexadecimal dump of data (see BufToUCS2Str); -1 when there is no memory. */
QVSUPT32_API uint32_t UniAppendBufferDump(FILE *stream, uint32_t ignored, const void *data, uint32_t dataSize);

/* Files of both logs
 * ------------------------------------------------------------------------------------------------------- */

/* Creates the directory of a log's path, its last component only. Returns 0 or -1. */
QVSUPT32_API uint32_t CreateLogDir(const char *path);

/* Removes a log under the global file lock. Returns 0, -1 when that fails, 11 when the lock was not obtained. */
QVSUPT32_API uint32_t DeleteLogFile(const char *path);

/* Stores the backup name of a path, of a log of either kind: its last character replaced by "_".
 *   271  an argument is null, or the path has less than 2 characters
 *   16   *size is too small and becomes the size needed
 *   0    *size is the size of the name */
QVSUPT32_API uint32_t GetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size);

/* Moves a log to its backup name, where it replaces an older backup.
 *   271, 16  as GetBackupXMLLogPathFileName, for a name of at most 255 bytes
 *   11       the lock was not obtained
 *   -1       the log cannot be moved
 *   0        moved */
QVSUPT32_API uint32_t BackupLogFile(const char *path);

/* Moves a log to its backup name when it would reach a maximum size with a record of the size given, and stores 1 when
 * it did, else 0. The size is looked at once more under the lock, so of several processes one moves the log. */
QVSUPT32_API void CheckBackupLogFile(const char *path, uint32_t maximumSize, uint32_t recordSize, SMBool *backedUp);

/* The XML log
 * --------------------------------------------------------------------------------------------------------------
 *
 * A file of UTF-8 without line breaks of its own: a header, "<EventLog>", one LogEntry element an event, "</EventLog>". A
 * file of 64 bytes or less counts as empty. Texts stand as they are given: markup in them is not escaped. */

/* The header, and the tags around the entries. */
QVSUPT32_API extern const char xmlLogFileHdr[66];
QVSUPT32_API extern const char xmlLogBeginTag[11];
QVSUPT32_API extern const char xmlLogEndTag[12];

/* Appends an entry to an XML log, which is created when it is missing, and so is its directory. userInfo, source and
 * description may be null, and so may data when dataSize is 0; any event type is taken. A text with half a surrogate pair
 * leaves its element empty. The entry goes before the closing tag that is nearest to the end of the file; what followed
 * that is overwritten.
 *   2    path is null; data is null and dataSize is not 0; dataSize is above 32768; userInfo or source that is given and
 *        not 1 to 1023 units long, a description that is given and not 1 to 16383 units long
 *   -1   the directory cannot be created, or no memory
 *   -1, 17  the time or the host name cannot be had (see GetIPHostName)
 *   Then the log may be moved to its backup name, with an entry of it in the new log.
 *   11   the lock was not obtained
 *   -1   the log cannot be opened, or its size not be taken
 *   257  a log without a closing tag behind its first 65 bytes: it is unchanged, as it is by every later append
 *   19   a write failed, also when only the close shows it: the log ends with its old closing tag again
 *   0    appended */
QVSUPT32_API uint32_t AppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                                     const SMChar16 *source, const SMChar16 *description, const void *data,
                                     uint32_t dataSize, uint32_t maximumSize);
QVSUPT32_API uint32_t SMAppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                                       const SMChar16 *source, const SMChar16 *description, const void *data,
                                       uint32_t dataSize, uint32_t maximumSize);

/* Deletes an XML log and starts it again with an entry that says so. Statuses: those of DeleteLogFile, with which a log
 * that is missing ends too, then those of AppendToXMLLog. */
QVSUPT32_API uint32_t ClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source);
QVSUPT32_API uint32_t SMClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source);

/* Starts an XML log that is missing, cannot be read or has 64 bytes or less, as ClearXMLLog starts it, and returns the
 * status of AppendToXMLLog. Any other log is left, and 0 returned. */
QVSUPT32_API uint32_t ForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source);
QVSUPT32_API uint32_t SMForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source);

/* All logs of the suite
 * ----------------------------------------------------------------------------------------------------
 *
 * A selector is a sum of the bits below; other bits are ignored. The files lie in the directory "log" below the install
 * directory of the library's own product (see paths.h), and their names must not pass 255 bytes: 2 otherwise. */

#define SMLOG_OSSYSLOG 2u /* the system log, see syslog(3) */
#define SMLOG_UNITXT 4u   /* the text log "qvsys32.log" */
#define SMLOG_XML 8u      /* the XML log "qvsys32.xml" */

/* The maximum sizes of the two logs in this process, 1048576 bytes each at load. Callers use the functions below. */
QVSUPT32_API extern uint32_t smUNITXTLogMaxSize;
QVSUPT32_API extern uint32_t smXMLLogMaxSize;

/* User information and source of the entries that the logs write by themselves: "Local System" and "VELA". */
QVSUPT32_API extern const SMChar16 defaultUserInfo_en_US[13];
QVSUPT32_API extern const SMChar16 defaultSource_en_US[5];

/* Stores the path of a log, of the XML log where both files are selected, and makes sure that an XML log exists.
 *   2    selector is 0
 *   1    the system log is selected, which has no file
 *   16   *size is below 256 and becomes 256
 *   256, 257  the product has no install directory (see SUPTMiscGetInstallPathByProductID)
 *   2    the path is longer than 255 bytes
 *   Then, for the XML log, the statuses of ForceXMLLogExists.
 *   0    *size is the path's size; path and *size are left where no file is selected */
QVSUPT32_API uint32_t GetSMLogPathFileName(uint8_t selector, char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetLogPathFileName(uint8_t selector, char *path, uint32_t *size);

/* Stores the backup path of a log, and makes sure that an XML log exists under it where the XML log is selected. Nothing
 * is created under the text log's. Where no file is selected, path and *size are left.
 *   Statuses of GetSMLogPathFileName, but 16 for its size, then of GetBackupXMLLogPathFileName, then of
 *   ForceXMLLogExists. */
QVSUPT32_API uint32_t GetBackupSMLogPathFileName(uint8_t selector, char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetBackupLogPathFileName(uint8_t selector, char *path, uint32_t *size);

/* Store or set the maximum size of a log, of the text log where both files are selected. The size is that of this
 * process.
 *   2    selector is 0
 *   271  (set) maximumSize is not 1048576 to 4194304
 *   1    no file is selected
 *   11   the lock was not obtained
 *   0    stored or set */
QVSUPT32_API uint32_t GetSMLogMaxSize(uint8_t selector, uint32_t *maximumSize);
QVSUPT32_API uint32_t SMGetLogMaxSize(uint8_t selector, uint32_t *maximumSize);
QVSUPT32_API uint32_t SetSMLogMaxSize(uint8_t selector, uint32_t maximumSize);
QVSUPT32_API uint32_t SMSetLogMaxSize(uint8_t selector, uint32_t maximumSize);

/* Writes an event to the selected logs: the system log, the text log and the XML log in this order, each as its own
 * function does. What the system log and the text log answer is not reported.
 *   2    selector is 0
 *   Then the statuses of GetSMLogPathFileName for the files, and of AppendToXMLLog. A path that cannot be had ends the
 *   call. */
QVSUPT32_API uint32_t AppendToSMLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                    const SMChar16 *description, const void *data, uint32_t dataSize);
QVSUPT32_API uint32_t SMAppendToLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                    const SMChar16 *description, const void *data, uint32_t dataSize);

/* Clears the selected log files, the text log first; the first failure ends the call.
 *   2    selector is 0
 *   1    the system log is selected: nothing is cleared
 *   Then the statuses of GetSMLogPathFileName, ClearUNITXTLog and ClearXMLLog. */
QVSUPT32_API uint32_t ClearSMLog(uint8_t selector, const SMChar16 *source);
QVSUPT32_API uint32_t SMClearLog(uint8_t selector, const SMChar16 *source);

/* Writes a line to the system log: the text of string 768 in the language of the process, the event ID and the
 * description, with spaces for carriage returns. It is cut where it passes 1023 units. The priority is LOG_ERR for
 * SM_EVENT_ERROR, LOG_WARNING for SM_EVENT_WARNING and LOG_INFO for all others, the facility LOG_DAEMON, the identity the
 * source. A null source or description counts as empty; data is ignored.
 *   -1   no memory
 *   257  the source has half a surrogate pair
 *   16   the source as UTF-8 takes more than 6 bytes beyond its units, terminator included
 *   -1   string 768 is not to be had
 *   257  the line has half a surrogate pair
 *   16   the line as UTF-8 takes more than 2048 bytes, terminator included
 *   0    handed to syslog(3)
 * Threads: calls of the library take turns. A program that uses syslog(3) itself loses its own connection and identity
 * to this call, as openlog(3) and closelog(3) belong to the process. */
QVSUPT32_API uint32_t OSAppendToSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                       const SMChar16 *description, const void *data, uint32_t dataSize);
QVSUPT32_API uint32_t SMAppendToOSSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                                         const SMChar16 *description, const void *data, uint32_t dataSize);

/* Replaces every carriage return of a text by a space. A null text is fine. */
QVSUPT32_API void RemoveCarriageReturns(char *text);

QVSUPT32_END_C

#endif
