/* Operating-system services: IPC names, record locks, global and local mutexes, System V semaphores.
 *
 * Timeouts are unsigned. SM_WAIT_FOREVER (0xFFFFFFFF) waits without limit in one blocking call. Any other value N makes
 * one try and then up to N more, each after a sleep of one millisecond: it counts polling steps, not time on a clock.
 *
 * Results are signed: SM_STATUS_SUCCESS (0), SM_STATUS_TIMEOUT (3) and SM_STATUS_UNSUCCESSFUL (-1), unless a contract
 * says otherwise. After SM_STATUS_UNSUCCESSFUL and after handle 0 errno is that of the system call that failed, if
 * one did.
 *
 * Threads: all functions may be called by several threads at once, except CloseIPCFile. Record locks and global mutexes
 * do not exclude them. No function of this header may be called from a signal handler. */
#ifndef QVSUPT32_OS_H
#define QVSUPT32_OS_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* IPC names and the IPC file ---------------------------------------------------------------------------------------
 *
 * An IPC name is a number that processes agree on: an offset plus a base that the site sets in /etc/vela.conf with a
 * line "ipcnamebase=<number>" (100000 without one). The IPC file, /etc/tallowmere/shared/.sharedipc if
 * /etc/tallowmere/shared exists and /etc/tallowmere/vela/.velaipc otherwise, holds no data: byte N of it is the lock
 * record of number N. It is created with mode 0600, before the umask, and opened once, close-on-exec. Record numbers in
 * use are IPC names (120000 is the global file lock, with the default base) and the identifiers of the semaphore sets
 * of manual-reset events (os_objects.h).
 *
 * Records are POSIX record locks (fcntl(2)). They belong to the process: they exclude other processes, not threads; one
 * unlock frees the record for the whole process; a forked child does not inherit them; they vanish when the process
 * crashes, ends or execs. The kernel drops all of them when the process closes any descriptor of the IPC file, so a
 * program must not open that file itself. */

/* The IPC name base, 0xFFFFFFFF before the first CreateIPCName of the process. */
QVSUPT32_API extern uint32_t l_ipc_name_base;

/* Descriptor of the open IPC file, -1 while it is closed. */
QVSUPT32_API extern int32_t l_ipc_fd;

/* Path of the IPC file, null before the first open. Chosen once in a process; static storage. */
QVSUPT32_API extern const char *l_ipc_filename;

/* Returns offset plus the IPC name base, modulo 2^32. The first call reads the base; it then holds for the life of the
 * process. The first line of the file that matches counts: optional white space, "ipcnamebase=" with nothing before the
 * equals sign, optional white space, a decimal number with an optional sign; the rest of the line is ignored. A number
 * beyond 32 signed bits is taken as the nearest one inside. A line of more than 255 characters is tested in pieces of
 * 255. A missing or unreadable file, or one without such a line, gives 100000. A base of -1 is the mark of a base that
 * has not been read: the file is then read at every call. */
QVSUPT32_API uint32_t CreateIPCName(uint32_t offset);

/* Opens the IPC file unless it is open, and creates it if it is missing; never its directory.
 *   SM_STATUS_UNSUCCESSFUL (-1)  it cannot be opened
 *   SM_STATUS_SUCCESS (0)        it is open */
QVSUPT32_API int32_t OpenIPCFile(void);

/* Closes the IPC file if it is open, which drops every record lock of the process. Returns SM_STATUS_SUCCESS (0).
 * Threads: none may use the file meanwhile. */
QVSUPT32_API int32_t CloseIPCFile(void);

/* Locks a record for this process. Opens the IPC file if it is closed or its descriptor has gone bad. A try that a
 * signal interrupts is repeated and not counted.
 *   SM_STATUS_UNSUCCESSFUL (-1)  the file cannot be opened, or the lock call failed
 *   SM_STATUS_TIMEOUT (3)        another process held the record to the last try
 *   SM_STATUS_SUCCESS (0)        locked */
QVSUPT32_API int32_t LockIPCFileRecord(uint32_t record, uint32_t timeout);

/* Unlocks a record for the whole process; one that is not locked counts as unlocked. Opens the IPC file as
 * LockIPCFileRecord does.
 *   SM_STATUS_UNSUCCESSFUL (-1)  the file cannot be opened, or the lock call failed
 *   SM_STATUS_SUCCESS (0)        unlocked */
QVSUPT32_API int32_t UnlockIPCFileRecord(uint32_t record);

/* Global mutexes ----------------------------------------------------------------------------------------------------
 *
 * A global mutex is the IPC file record of its own name: the handle is the name, and 0 is no mutex. It excludes
 * processes only; see the record locks above for threads, fork, exec and crashes of the holder. */

/* Opens the IPC file and returns the name as handle; 0 if the name is 0 (the file is not touched then) or the file
 * cannot be opened. */
QVSUPT32_API uint32_t CreateGlobalMutex(uint32_t name);

/* The same as CreateGlobalMutex. */
QVSUPT32_API uint32_t OpenGlobalMutex(uint32_t name);

/* Does nothing: a global mutex has no state but the open IPC file. */
QVSUPT32_API void DestroyGlobalMutex(uint32_t handle);

/* SM_STATUS_UNSUCCESSFUL (-1) for handle 0, else the result of LockIPCFileRecord(handle, timeout). */
QVSUPT32_API int32_t WaitForGlobalMutex(uint32_t handle, uint32_t timeout);

/* SM_STATUS_UNSUCCESSFUL (-1) for handle 0, else the result of UnlockIPCFileRecord(handle). */
QVSUPT32_API int32_t ReleaseGlobalMutex(uint32_t handle);

/* Local mutexes -----------------------------------------------------------------------------------------------------
 *
 * A thread mutex of this process: not recursive, released by the thread that holds it. After a fork the child's copy is
 * in the state that it had in the parent, also when another thread held it. */

typedef struct SMLocalMutex SMLocalMutex;

/* Returns a new mutex, owned by the caller until DestroyLocalMutex; null if memory is short. */
QVSUPT32_API QVSUPT32_NEW SMLocalMutex *CreateLocalMutex(void);

/* Destroys and frees a mutex that nobody holds. Null is ignored. */
QVSUPT32_API void DestroyLocalMutex(SMLocalMutex *mutex);

/* Locks.
 *   SM_STATUS_UNSUCCESSFUL (-1)  mutex is null, or the wait without limit failed
 *   SM_STATUS_TIMEOUT (3)        every try failed
 *   SM_STATUS_SUCCESS (0)        locked */
QVSUPT32_API int32_t WaitForLocalMutex(SMLocalMutex *mutex, uint32_t timeout);

/* Unlocks.
 *   SM_STATUS_UNSUCCESSFUL (-1)  mutex is null, or the unlock failed
 *   SM_STATUS_SUCCESS (0)        unlocked */
QVSUPT32_API int32_t ReleaseLocalMutex(SMLocalMutex *mutex);

/* System V semaphores -----------------------------------------------------------------------------------------------
 *
 * A semaphore is a set of one, named by its identifier; 0 is no semaphore. Sets have mode 0666 and outlive the
 * processes that use them until DestroySemaphore removes them. A crash or the end of a holder leaves the count as it
 * is, except for what WaitForSemaphoreUndo took; an exec changes nothing, and a forked child has nothing to give back.
 * See semop(2). */

/* Creates the set of a key with an initial count and returns its identifier. A set that exists already is used as it
 * is, its count included. Key 0 makes a private set. Returns 0 on failure, after which nothing is left. Another process
 * can meet a new set before its initial count is stored. */
QVSUPT32_API int32_t CreateSemaphore(int32_t key, int32_t initial);

/* Returns the identifier of the existing set of a key, 0 if there is none or access is refused. */
QVSUPT32_API int32_t OpenSemaphore(int32_t key);

/* Removes the set, also while others use it: their waits without limit end with SM_STATUS_UNSUCCESSFUL (-1), all
 * others with SM_STATUS_TIMEOUT (3). 0 is ignored, a failure is not reported. */
QVSUPT32_API void DestroySemaphore(int32_t id);

/* Takes 1 from the count.
 *   SM_STATUS_UNSUCCESSFUL (-1)  id is 0, or the wait without limit failed: the set is gone, for example
 *   SM_STATUS_TIMEOUT (3)        every try failed, for whatever reason
 *   SM_STATUS_SUCCESS (0)        taken */
QVSUPT32_API int32_t WaitForSemaphore(int32_t id, uint32_t timeout);

/* The same; the kernel gives the 1 back when the process ends. */
QVSUPT32_API int32_t WaitForSemaphoreUndo(int32_t id, uint32_t timeout);

/* Adds 1 to the count.
 *   SM_STATUS_UNSUCCESSFUL (-1)  id is 0, or the kernel refused: the set is gone, or its count is at the maximum, 32767
 *   SM_STATUS_SUCCESS (0)        added */
QVSUPT32_API int32_t ReleaseSemaphore(int32_t id);

/* Sets the count to 0. Not atomic against waits.
 *   SM_STATUS_UNSUCCESSFUL (-1)  id is 0
 *   SM_STATUS_SUCCESS (0)        any other, also if the set is gone */
QVSUPT32_API int32_t ResetSemaphore(int32_t id);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
