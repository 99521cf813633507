/* Library frame: attach and detach, daemonizing forks, the global file lock, the export context, memory, version and
 * status texts.
 *
 * Loading the library attaches it, unloading detaches it; a program needs none of these calls for ordinary use. Loading
 * prints nothing, starts no thread, leaves errno as it was, and succeeds even if the attach fails: the process goes on,
 * and every operation on a shared file answers SM_STATUS_LOCK_FAILED (11). A program sees that as modAttachCount 0. The
 * usual cause is that the directory of the lock file (os.h) is missing; once it exists, ModuleAttach attaches.
 *
 * Every first attach and last detach, so every load and every exit, waits without limit for the global file lock. A
 * process that holds the lock and waits for a child that loads the library or exits therefore waits forever.
 *
 * No function of this header may be called from a signal handler. */
#ifndef QVSUPT32_FRAME_H
#define QVSUPT32_FRAME_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Opaque context of one call. Always 0 on Linux. */
typedef uint32_t SMExportContext;

/* Attaches not yet matched by a detach. Initially 0; read-only for callers. */
QVSUPT32_API extern int32_t modAttachCount;

/* Handle of the global file lock, 0 while there is none. Read-only for callers. */
QVSUPT32_API extern uint32_t hGFileLock;

/* 1 from the start of the last detach to the start of the next first attach. */
QVSUPT32_API extern SMBool modExitingFlag;

/* 0 between SUPTBeforeForkForDaemon and the fork that follows it, else 1. */
QVSUPT32_API extern SMBool modDetachFlag;

/* 1 in the parent of a daemonizing fork (and in processes forked from it later): unloading does not detach. */
QVSUPT32_API extern SMBool modDaemonParentFlag;

/* The export context captured by the first attach. */
QVSUPT32_API extern SMExportContext origECI;

/* Attaches the library once more. The first attach creates the global file lock and holds it while it sets up the
 * process's shared state; later ones only count. Returns 1 if attached, 0 if a step failed. A failed attach holds no
 * lock and leaves the count and hGFileLock 0; what stays, for the next attach, are the install paths that it has
 * looked up (paths.h) and the open lock file.
 * Threads: the caller serializes all calls of ModuleAttach and ModuleDetach. */
QVSUPT32_API uint32_t ModuleAttach(void);

/* Takes one attach back. The last detach tears the shared state down under the global file lock and closes the lock
 * file, which drops every record lock of this process. Returns 1 if it counted or detached, 0 if nothing was attached.
 * Threads: the caller serializes all calls of ModuleAttach and ModuleDetach; no other function of the library runs
 * during the last detach. */
QVSUPT32_API uint32_t ModuleDetach(void);

/* Announces that the next fork turns this process into a daemon's parent: sets modDetachFlag to 0. */
QVSUPT32_API void ModuleDoNotDetach(void);

/* The same under its public name. A program calls it immediately before the fork by which it becomes a daemon, so that
 * the exit of the parent does not tear down state that the child goes on using. */
QVSUPT32_API void SUPTBeforeForkForDaemon(void);

/* Fork handler of the parent, registered at load: marks the parent of an announced fork and ends the announcement. */
QVSUPT32_API void ModuleParentAfterFork(void);

/* Fork handler of the child, registered at load: ends the announcement. */
QVSUPT32_API void ModuleChildAfterFork(void);

/* Takes the global file lock, the record lock that every operation on a shared file holds. SM_LOCK_WAIT (1) makes up to
 * 60000 polling steps of 1 ms, any other mode tries once. Returns 1 if the lock is held, 0 if it was not obtained:
 * another process has it, there is no lock handle, or the lock call failed.
 *
 * The lock belongs to the process. It neither counts nor excludes threads: a second call in the process that holds it
 * succeeds, and one release frees it. The library's own operations on shared files exclude each other among the threads
 * of a process as well, but not against a caller that holds the lock through this function, and their releases free its
 * lock. A crash, an exec and the end of the process release it; a forked child does not inherit it. */
QVSUPT32_API uint32_t FileLock(uint16_t mode);

/* The same as FileLock. Since 4.1. */
QVSUPT32_API uint32_t SMFileLock(uint16_t mode);

/* Releases the global file lock.
 *   SM_STATUS_UNSUCCESSFUL (-1)  there is no lock handle, or the release failed
 *   SM_STATUS_SUCCESS (0)        released, or not held before */
QVSUPT32_API int32_t FileUnlock(void);

/* The same as FileUnlock. Since 4.1. */
QVSUPT32_API int32_t SMFileUnlock(void);

/* Stores the current export context, which is 0 on Linux, through context. A null pointer is ignored. */
QVSUPT32_API void OSGetExportContext(SMExportContext *context);
QVSUPT32_API void SMGetExportContext(SMExportContext *context);

/* Enters the library's context and keeps the caller's in slot. Does nothing on Linux. */
QVSUPT32_API void OSSetExportContext(SMExportContext *slot, SMExportContext *libraryContext);
QVSUPT32_API void SMSetExportContext(SMExportContext *slot, SMExportContext *libraryContext);

/* Returns to the context kept in slot. Does nothing on Linux. */
QVSUPT32_API void OSResetExportContext(SMExportContext *slot);
QVSUPT32_API void SMResetExportContext(SMExportContext *slot);

/* Allocates size bytes from the process heap, as malloc(3) does; null if the heap is exhausted. Memory that the library
 * returns to a caller comes from the same heap. */
QVSUPT32_API QVSUPT32_NEW void *SMAllocMem(uint32_t size);

/* Resizes a block of SMAllocMem, as realloc(3) does. */
QVSUPT32_API QVSUPT32_OWNED void *SMReAllocMem(void *block, uint32_t size);

/* Frees a block of SMAllocMem or SMReAllocMem, or one that the library returned. Null does nothing. */
QVSUPT32_API void SMFreeMem(void *block);

/* Returns the version of the loaded library, "4.1.0" for this one; static storage. Compare it with
 * QVSUPT32_VERSION_STRING, which a program was compiled with. Since 4.1. */
QVSUPT32_API const char *SMGetVersionText(void);

/* Returns a status as one line of English that starts with its name, "SM_STATUS_NOT_FOUND: ..."; "unknown status" for
 * other numbers. Never null; static storage. Cast a signed result to uint32_t. Since 4.1. */
QVSUPT32_API const char *SMStatusText(uint32_t status);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
