/* Operating-system services by handle: named mutexes, semaphores, events and shared memory, threads, dynamic libraries,
 * process services, and critical sections named by the routine that runs in them.
 *
 * A handle is a pointer to a small record of the library, released by exactly one destroy, free, stop or unload call or
 * by SMHandleClose. Its first field is its kind. Status functions answer a null handle with
 * SM_STATUS_INVALID_PARAMETER (271) and a record of another kind with SM_STATUS_BAD_TYPE (257); destroy and free ignore
 * both. After a null handle errno tells why: EINVAL or ENAMETOOLONG for the arguments, else that of the call that
 * failed, such as ENOENT for an object that does not exist and EAGAIN for shared memory whose creator lives.
 *
 * A fork copies the handles. Destroying a copy removes the object under the other process, as destroying the original
 * would; SMHandleClose does not. An exec, a crash and an ordinary end drop handles without releasing them: the objects
 * stay in the system, except for what the kinds say below.
 *
 * Named objects work across processes, unnamed ones (a null name) between the threads of a process. A name is 1 to 255
 * bytes, for a mutex 1 to 233. Semaphores, events and shared memory derive a 32-bit System V key from the name and
 * share one key space of fewer keys than 32 bits have: about one pair of names in 300 meets in one key. The second
 * create of such a pair adopts the object of the first; GetUniqueKeyFromStr shows whether names meet.
 *
 * All System V objects have mode 0666: every user of the machine may use and remove them. Lock files of mutexes have
 * mode 0600, before the umask.
 *
 * Timeouts are polling steps, as in os.h. Threads: handles may be used by several threads at once, but not released
 * while another thread uses them. No function of this header may be called from a signal handler. */
#ifndef QVSUPT32_OS_OBJECTS_H
#define QVSUPT32_OS_OBJECTS_H

#include "containers.h"
#include "frame.h"
#include "os.h"
#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Kinds of records. */
#define SM_KIND_LIBRARY 0u
#define SM_KIND_MUTEX 1u
#define SM_KIND_SEMAPHORE 2u
#define SM_KIND_SHARED_MEMORY 3u
#define SM_KIND_EVENT 4u

/* What every record starts with. The fields of its kind follow; they are the library's own. */
typedef struct OSSyncInfo {
  uint32_t kind;
  char *name; /* the name, for a mutex the path of its lock file, for a library its path; null for an unnamed object */
} OSSyncInfo;

/* A routine of the caller. The argument is as wide as a pointer: 32 bits on i386. Its result is not used. It runs on a
 * stack aligned to 16 bytes. */
typedef uint32_t (*OSRoutine)(uintptr_t argument);

/* Releases a handle of any kind without removing what others use. Null and unknown kinds are ignored. Since 4.1.
 *   named mutex      unlocked, unless a forked process still has the handle; the lock file stays
 *   named semaphore  the set and its count stay
 *   named event      the set stays, and its mark until the process ends
 *   shared memory    detached; the segment stays. A guard taken through this handle, by creating the segment or taking
 *                    it over, is given back, so that another create may take it over. A copy in a forked child gives
 *                    nothing back.
 *   library          unloaded
 *   unnamed objects  destroyed, also under a forked process that has a copy */
QVSUPT32_API void SMHandleClose(OSSyncInfo *handle);

/* Keys ------------------------------------------------------------------------------------------------------------- */

/* A variant of CRC-32 over total bytes, those from length on counting as zero: the reflected polynomial 0xEDB88320,
 * applied while anything is left of the byte rather than by its lowest bit alone, and no final complement. 0xFFFFFFFF
 * for a total of 0. */
QVSUPT32_API uint32_t GenerateCRC32(const void *data, uint32_t length, uint32_t total);

/* Returns the System V key of a name: GenerateCRC32 over the MD5 digest of the name with its terminator. */
QVSUPT32_API int32_t GetUniqueKeyFromStr(const char *name);

/* Allocates a record of recordSize bytes, zeroed but for kind and name; the copy of the name follows it in the same
 * block. Null if the name is empty or too long for the kind, recordSize is below that of OSSyncInfo, or memory is
 * short. Freed with SMFreeMem. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSSyncInfoAlloc(const char *name, uint32_t recordSize, int32_t kind);

/* Steps of the library's attach and detach. Attach returns 1. */
QVSUPT32_API SMBool OSSyncInfoAttach(void);
QVSUPT32_API void OSSyncInfoDetach(void);

/* Mutexes ------------------------------------------------------------------------------------------------------------
 *
 * A named mutex is a whole-file lock (flock(2)) on /etc/tallowmere/vela/.<name>; the directory belongs to the suite's
 * installation and is not created. The lock belongs to the handle: two handles exclude each other even within a
 * process, two threads that share a handle do not. A fork shares the handle's lock: parent and child do not exclude
 * each other through it, and either of them unlocks it for both. An exec, a crash and an ordinary end of the holder
 * free it at once, unless a forked process still has the handle; the lock file stays.
 *
 * An unnamed mutex is a thread mutex: not recursive, unlocked by the thread that holds it. A forked child has a copy of
 * its own, in the state of that moment: if another thread held it, it stays locked. */

/* Returns a mutex, made if it does not exist; null for a bad name, a lock file that cannot be opened, or short
 * memory. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSMutexCreate(const char *name);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMMutexCreate(const char *name);

/* Returns a handle to a named mutex that exists; null for a null or bad name, if there is none, or if memory is
 * short. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSMutexOpen(const char *name);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMMutexOpen(const char *name);

/* Locks.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no mutex
 *   SM_STATUS_TIMEOUT (3)              every try failed
 *   SM_STATUS_UNSUCCESSFUL (-1)        the wait without limit failed; for a named mutex a signal ends it, too
 *   SM_STATUS_SUCCESS (0)              locked */
QVSUPT32_API int32_t OSMutexLock(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMMutexLock(OSSyncInfo *handle, uint32_t timeout);

/* Unlocks.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no mutex
 *   SM_STATUS_UNSUCCESSFUL (-1)        the unlock failed
 *   SM_STATUS_SUCCESS (0)              unlocked */
QVSUPT32_API int32_t OSMutexUnLock(OSSyncInfo *handle);
QVSUPT32_API int32_t SMMutexUnLock(OSSyncInfo *handle);

/* Releases the handle and deletes the lock file of a named mutex, also through an opened handle, and also while others
 * use it: they go on excluding each other on the deleted file, while a later create of the name makes a new one and an
 * open finds none. So only the last user destroys; the others call SMHandleClose. */
QVSUPT32_API void OSMutexDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMMutexDestroy(OSSyncInfo *handle);

/* Semaphores ---------------------------------------------------------------------------------------------------------
 *
 * Counts from 0 to 32767. A named set outlives the processes that use it until the handle that created it is destroyed.
 * A create that meets an existing set adopts it, count and all, and its destroy removes it, also while others use it.
 * On a removed set waits without limit end with SM_STATUS_UNSUCCESSFUL (-1), all others with SM_STATUS_TIMEOUT (3), and
 * releases with SM_STATUS_BUFFER_TOO_SMALL (16); a later create of the name makes another set, which the old handles do
 * not reach.
 *
 * Nothing is given back for a holder: after its crash, exec or end the count is as it left it, and an unnamed set that
 * was not destroyed stays in the system. A fork takes nothing for the child. */

/* Returns a semaphore with an initial count, 0 if it is negative; null for a count above 32767, a bad name, or if the
 * system refuses. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSSemaphoreCreate(const char *name, int32_t initial);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMSemaphoreCreate(const char *name, int32_t initial);

/* Returns a handle to a named semaphore that exists; else null. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSSemaphoreOpen(const char *name);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMSemaphoreOpen(const char *name);

/* Takes 1 from the count.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no semaphore
 *   SM_STATUS_TIMEOUT (3)              every try failed
 *   SM_STATUS_UNSUCCESSFUL (-1)        the wait without limit failed: the set was removed
 *   SM_STATUS_SUCCESS (0)              taken */
QVSUPT32_API int32_t OSSemaphoreAcquireWait(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMSemaphoreAcquireWait(OSSyncInfo *handle, uint32_t timeout);

/* Adds to the count in one atomic step; zero and negative counts are legal.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null, or count is above 32767
 *   SM_STATUS_BAD_TYPE (257)           it is no semaphore
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the sum would leave 0 to 32767, or the set was removed; nothing changes
 *   SM_STATUS_SUCCESS (0)              added
 * previous may be null; otherwise it receives the count as it was read before, with status 16 too if the set exists. */
QVSUPT32_API int32_t OSSemaphoreRelease(OSSyncInfo *handle, int32_t count, uint32_t *previous);
QVSUPT32_API int32_t SMSemaphoreRelease(OSSyncInfo *handle, int32_t count, uint32_t *previous);

/* Releases the handle; removes the set if this handle created or adopted it. */
QVSUPT32_API void OSSemaphoreDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMSemaphoreDestroy(OSSyncInfo *handle);

/* Shared memory ------------------------------------------------------------------------------------------------------
 *
 * A segment is guarded by its creating process: while that lives, no create of the name succeeds; if it crashed or
 * ended without freeing, opens are refused, and the next create takes the segment over with its content and size, which
 * may be less than that create asked for (SMSharedMemGetSize). Who took a segment over guards it but does not own it:
 * its free leaves the segment in the system until an administrator removes it.
 *
 * A forked child shares the mapping but not the guard, which falls with the parent. An exec drops the mapping and keeps
 * the guard, which falls with the process. A segment that its owner frees lives on for those that have it attached and
 * cannot be opened any more; a later create of the name makes another. */

/* Returns a segment of size bytes, attached for reading and writing; a new one is filled with zeros. Null for a null or
 * bad name, size 0, a live creator, or if the system refuses. A segment that cannot be attached is removed, one that
 * was to be taken over, too. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSSharedMemCreate(const char *name, uint32_t size);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMSharedMemCreate(const char *name, uint32_t size);

/* Returns a segment that exists, attached for reading and writing; null for a null or bad name, if its creator is gone,
 * if there is none, or if the system refuses. A segment that cannot be attached is removed, although it is its
 * creator's: no later open finds it. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSSharedMemOpen(const char *name);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMSharedMemOpen(const char *name);

/* Returns the attached address, valid until the free or close; null for null and other kinds. */
QVSUPT32_API void *OSSharedMemGetAddressPtr(OSSyncInfo *handle);
QVSUPT32_API void *SMSharedMemGetAddressPtr(OSSyncInfo *handle);

/* Returns the size of the attached segment in bytes as the system keeps it, also after its owner freed it; 0 for null
 * and other kinds, 4294967295 for larger ones. Since 4.1. */
QVSUPT32_API uint32_t SMSharedMemGetSize(OSSyncInfo *handle);

/* Detaches the segment and releases the handle. The handle that created the segment also removes the guard, and the
 * segment with its last detach; one that took it over leaves both, and the guard returns when its process ends. */
QVSUPT32_API void OSSharedMemFree(OSSyncInfo *handle);
QVSUPT32_API void SMSharedMemFree(OSSyncInfo *handle);

/* Events -------------------------------------------------------------------------------------------------------------
 *
 * A manual-reset event stays signalled until it is reset; an automatic one releases one waiter for each signal, and its
 * signals add up, to 32767. A create that meets an existing event adopts it, signals and all, and its handle has the
 * mode that it asked for.
 *
 * Openers learn the mode of a named event from a mark that its creating process holds, a record lock of the IPC file.
 * The mark goes when that process crashes, ends, execs or detaches the library, and a forked child does not inherit it:
 * events opened afterwards are automatic. The creating process itself must not open the event: the open finds it
 * automatic and removes the mark. Handles keep the mode that they were made with.
 *
 * On an event that was removed under them, waits end as for semaphores, a set with SM_STATUS_UNSUCCESSFUL (-1), and a
 * reset with SM_STATUS_SUCCESS (0); so does a pulse of a manual-reset one, while that of an automatic one answers -1. */

/* Reset modes and initial states of an event. */
#define SM_RESET_AUTOMATIC 0
#define SM_RESET_MANUAL 1
#define SM_INITIALLY_RESET 0
#define SM_INITIALLY_SIGNALLED 1

/* Returns an event. manualReset is SM_RESET_MANUAL (1), or any other value for automatic; initialState is
 * SM_INITIALLY_SIGNALLED (1), or any other value. Null for a bad name or if the system refuses. If a manual-reset event
 * cannot be marked, its set is removed, an adopted one too. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSEventCreate(const char *name, int16_t manualReset, int16_t initialState);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMEventCreate(const char *name, int16_t manualReset, int16_t initialState);

/* Returns a handle to a named event that exists; else null. If the mark cannot be looked at, because the lock file
 * cannot be opened, for example, the set is removed, although it is its creator's. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSEventOpen(const char *name);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMEventOpen(const char *name);

/* Waits for a signal, and takes it from an automatic event.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no event
 *   SM_STATUS_TIMEOUT (3)              every try failed
 *   SM_STATUS_UNSUCCESSFUL (-1)        the wait without limit failed: the event was removed
 *   SM_STATUS_SUCCESS (0)              signalled */
QVSUPT32_API int32_t OSEventWait(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMEventWait(OSSyncInfo *handle, uint32_t timeout);

/* Signals. Each call adds 1 to the count of signals, for a manual-reset event, too.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no event
 *   SM_STATUS_UNSUCCESSFUL (-1)        the event was removed, or its count is 32767
 *   SM_STATUS_SUCCESS (0)              signalled */
QVSUPT32_API int32_t OSEventSet(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventSet(OSSyncInfo *handle);

/* Takes all signals back.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no event
 *   SM_STATUS_SUCCESS (0)              any other, also if the event was removed */
QVSUPT32_API int32_t OSEventReset(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventReset(OSSyncInfo *handle);

/* Signals a manual-reset event unless it is signalled, which is not atomic; an automatic one as OSEventSet does.
 *   SM_STATUS_INVALID_PARAMETER (271)  handle is null
 *   SM_STATUS_BAD_TYPE (257)           it is no event
 *   SM_STATUS_UNSUCCESSFUL (-1)        an automatic event could not be signalled
 *   SM_STATUS_SUCCESS (0)              any other */
QVSUPT32_API int32_t OSEventPulse(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventPulse(OSSyncInfo *handle);

/* Releases the handle; the one that created or adopted the event removes it with its mark. */
QVSUPT32_API void OSEventDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMEventDestroy(OSSyncInfo *handle);

/* Threads ---------------------------------------------------------------------------------------------------------- */

typedef struct OSThread {
  OSRoutine routine;
  uintptr_t argument;
  uintptr_t thread; /* the platform's identifier, complete before the routine runs */
  SMExportContext context;
} OSThread;

/* Starts a thread that runs the routine. Returns its record, released by exactly one OSThreadStop; null for a null
 * routine, short memory or a thread that cannot be created. A forked child has none of its parent's threads and must
 * not stop them. */
QVSUPT32_API QVSUPT32_NEW OSThread *OSThreadStart(OSRoutine routine, uintptr_t argument);
QVSUPT32_API QVSUPT32_NEW OSThread *SMThreadStart(OSRoutine routine, uintptr_t argument);

/* Waits until the routine has returned and releases the record. Not to be called from the thread itself.
 *   SM_STATUS_INVALID_PARAMETER (271)  thread is null
 *   SM_STATUS_SUCCESS (0)              any other */
QVSUPT32_API int32_t OSThreadStop(OSThread *thread);
QVSUPT32_API int32_t SMThreadStop(OSThread *thread);

/* What a new thread runs: the routine of the record, which may be null. Returns null and frees nothing. */
QVSUPT32_API void *OSThreadStub(void *thread);

/* Dynamic libraries ------------------------------------------------------------------------------------------------ */

/* Loads a library (dlopen(3), symbols bound lazily). Null for a null path, short memory or a library that cannot be
 * loaded; dlerror(3) tells why, errno may not. */
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *OSLibLoad(const char *path);
QVSUPT32_API QVSUPT32_NEW OSSyncInfo *SMLibLoad(const char *path);

/* Unloads it and releases the record.
 *   SM_STATUS_INVALID_PARAMETER (271)  library is null
 *   SM_STATUS_BAD_TYPE (257)           it is of another kind, or has no library
 *   SM_STATUS_UNSUCCESSFUL (-1)        the loader refuses; the record stays
 *   SM_STATUS_SUCCESS (0)              unloaded */
QVSUPT32_API int32_t OSLibUnLoad(OSSyncInfo *library);
QVSUPT32_API int32_t SMLibUnLoad(OSSyncInfo *library);

/* Returns the address of an exported symbol, valid until the unload; null for a null or other record, a null symbol, or
 * if there is no such symbol. */
QVSUPT32_API void *OSLibLinkToExportFN(OSSyncInfo *library, const char *symbol);
QVSUPT32_API void *SMLibLinkToExportFN(OSSyncInfo *library, const char *symbol);

/* Only checks the record.
 *   SM_STATUS_INVALID_PARAMETER (271)  library is null
 *   SM_STATUS_BAD_TYPE (257)           it is of another kind, or has no library
 *   SM_STATUS_SUCCESS (0)              any other */
QVSUPT32_API int32_t OSLibUnLinkFromExportFN(OSSyncInfo *library, void *address);
QVSUPT32_API int32_t SMLibUnLinkFromExportFN(OSSyncInfo *library, void *address);

/* Process services ------------------------------------------------------------------------------------------------- */

/* Modes of OSShutdown. Every other mode halts, too. */
#define SM_SHUTDOWN_HALT 0
#define SM_SHUTDOWN_RESTART 1

/* Restarts or halts the machine, by "/sbin/shutdown" in the background. unused is not looked at. Returns 1, whatever
 * becomes of the command. */
QVSUPT32_API SMBool OSShutdown(int16_t unused, int16_t mode);
QVSUPT32_API int32_t SMOSShutdown(int16_t unused, int16_t mode);

/* Returns 1 if the standard input can be read without waiting (its end included), else 0. Reads nothing. */
QVSUPT32_API uint32_t OSkbhit(void);
QVSUPT32_API uint32_t SMkbhit(void);

/* Do nothing on Linux. Return SM_STATUS_SUCCESS (0). */
QVSUPT32_API int32_t OSLongFileNamesEnable(void);
QVSUPT32_API int32_t SMLongFileNamesEnable(void);
QVSUPT32_API int32_t OSLongFileNamesDisable(void);
QVSUPT32_API int32_t SMLongFileNamesDisable(void);

/* Critical sections --------------------------------------------------------------------------------------------------
 *
 * Local mutexes under other names. Null is ignored; results are not reported. */

/* Returns a critical section, null if memory is short. */
QVSUPT32_API QVSUPT32_NEW SMLocalMutex *OSInitCriticalSection(void);
QVSUPT32_API void OSEnterCriticalSection(SMLocalMutex *section);
QVSUPT32_API void OSExitCriticalSection(SMLocalMutex *section);

/* Destroys and frees a section that nobody is in. */
QVSUPT32_API void OSDeleteCriticalSection(SMLocalMutex *section);

/* The library's own: the registry of the sections named by routines, empty while none is in use, and its lock, null
 * while the library is not attached. */
QVSUPT32_API extern OSSyncInfo *pOSCritSectRBTLock;
QVSUPT32_API extern SMRedBlackTreeNode *pOSCritSecRBTree;

/* Runs the routine in a critical section of its own. Threads that run the same routine through this call exclude each
 * other, different routines do not. A routine may run others this way, but not itself, directly or through others. The
 * routine does not run if it is null, if timeout is not SM_WAIT_FOREVER (0xFFFFFFFF), if the library is not attached,
 * or if memory is short.
 * A forked child inherits the sections as they are: it waits forever for one that another thread was in, and for every
 * one if another thread was just entering or leaving one. */
QVSUPT32_API void OSCriticalSectionExecute(OSRoutine routine, uintptr_t argument, uint32_t timeout);
QVSUPT32_API void SMCriticalSectionExecute(OSRoutine routine, uintptr_t argument, uint32_t timeout);

/* Steps of the library's attach and detach. Attach returns 1, or 0 if the lock cannot be made. Detach must not run
 * while OSCriticalSectionExecute does. */
QVSUPT32_API SMBool OSCriticalSectionAttach(void);
QVSUPT32_API void OSCriticalSectionDetach(void);

/* Callback of the registry: compares a routine's address with that of a record. */
QVSUPT32_API int32_t OSCriticalSectionRBTWalk(void *key, void *record);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
