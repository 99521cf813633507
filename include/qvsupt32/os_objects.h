/* Operating-system services by handle: named mutexes, semaphores, events and shared memory, threads, dynamic libraries,
 * process services, and critical sections named by the routine that runs in them.
 *
 * A handle is a pointer to a small record of the library, released by exactly one destroy, free, stop or unload call.
 * Its first field tells its kind: status functions answer a null handle with 271 and a record of another kind with 257,
 * and destroy and free ignore both. A handle must not be released while another thread uses it.
 *
 * A fork copies the handles. Releasing a copy does to the object what releasing the other one would do: it removes what
 * the handle owns under the other process. An exec, a crash and an ordinary end drop handles without releasing them:
 * what they stand for stays in the system, except for what the kinds say below.
 *
 * Named objects work across processes, unnamed ones (a null name) between the threads of a process. A name is 1 to 255
 * bytes, for a mutex 1 to 233. Semaphores, events and shared memory derive a 32-bit System V key from the name and
 * share one key space of fewer keys than 32 bits have: about one pair of names in 300 meets in one key. The second
 * create of such a pair adopts the object of the first; GetUniqueKeyFromStr tells whether names meet.
 *
 * Timeouts are polling steps, as in os.h. None of these functions may be called from a signal handler. */
#ifndef QVSUPT32_OS_OBJECTS_H
#define QVSUPT32_OS_OBJECTS_H

#include "containers.h"
#include "frame.h"
#include "os.h"
#include "types.h"

QVSUPT32_BEGIN_C

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

/* A routine of the caller. The argument is as wide as a pointer: 32 bits on i386. Its result is not used. */
typedef uint32_t (*OSRoutine)(uintptr_t argument);

/* Keys ------------------------------------------------------------------------------------------------------------- */

/* A variant of CRC-32 over total bytes, those from length on counting as zero: the reflected polynomial 0xEDB88320,
 * applied while anything is left of the byte rather than by its lowest bit alone, and no final complement. 0xFFFFFFFF
 * for a total of 0. */
QVSUPT32_API uint32_t GenerateCRC32(const void *data, uint32_t length, uint32_t total);

/* Returns the System V key of a name: GenerateCRC32 over the MD5 digest of the name with its terminator. */
QVSUPT32_API int32_t GetUniqueKeyFromStr(const char *name);

/* Allocates a record of recordSize bytes, zeroed but for kind and name; the name's copy stands behind it in the same
 * block. Null when the name is empty or too long for the kind, when recordSize is below that of OSSyncInfo, or when
 * memory is short. */
QVSUPT32_API OSSyncInfo *OSSyncInfoAlloc(const char *name, uint32_t recordSize, int32_t kind);

/* Steps of the library's attach and detach. Attach returns 1. */
QVSUPT32_API SMBool OSSyncInfoAttach(void);
QVSUPT32_API void OSSyncInfoDetach(void);

/* Mutexes ------------------------------------------------------------------------------------------------------------
 *
 * A named mutex is a whole-file lock (flock(2)) on /etc/tallowmere/vela/.<name>, whose directory the suite's
 * installation creates. It belongs to the handle: two handles exclude each other even within a process, two threads
 * that share a handle do not. A fork shares the handle's lock: parent and child do not exclude each other through it,
 * and either of them unlocks it for both. An exec, a crash and an ordinary end of the holder free it at once, unless a
 * forked process still has the handle; the lock file stays.
 *
 * An unnamed mutex is a thread mutex: not recursive, released by the thread that holds it. A forked child's copy is one
 * of its own, in the state of that moment; if another thread held it, it stays locked. */

/* Returns a mutex, made if it does not exist; null for a bad name, a lock file that cannot be opened, or short
 * memory. */
QVSUPT32_API OSSyncInfo *OSMutexCreate(const char *name);
QVSUPT32_API OSSyncInfo *SMMutexCreate(const char *name);

/* Returns a handle to a named mutex that exists; null for a null or bad name, when there is none, or when memory is
 * short. */
QVSUPT32_API OSSyncInfo *OSMutexOpen(const char *name);
QVSUPT32_API OSSyncInfo *SMMutexOpen(const char *name);

/* Locks.
 *   271  handle is null
 *   257  no mutex
 *   3    every try failed
 *   -1   the wait without limit failed; a signal ends it too
 *   0    locked */
QVSUPT32_API int32_t OSMutexLock(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMMutexLock(OSSyncInfo *handle, uint32_t timeout);

/* Unlocks. 271 for null, 257 for no mutex, -1 when it failed, else 0. */
QVSUPT32_API int32_t OSMutexUnLock(OSSyncInfo *handle);
QVSUPT32_API int32_t SMMutexUnLock(OSSyncInfo *handle);

/* Releases the handle and deletes the lock file of a named mutex, also through an opened handle, and also where others
 * hold or use it: they go on excluding each other on the deleted file, while a later create of the name makes a new one
 * and an open finds none. So only the last user destroys. */
QVSUPT32_API void OSMutexDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMMutexDestroy(OSSyncInfo *handle);

/* Semaphores --------------------------------------------------------------------------------------------------------
 *
 * Counts from 0 to 32767. A named set outlives the processes that use it until the handle that created it is destroyed;
 * a create that meets an existing set adopts it, count and all, and removes it at its destroy under whoever else uses
 * it. On a removed set waits without limit end with -1, all others with 3, and releases with 16; a later create of the
 * name makes another set, which their handles do not reach.
 *
 * Nothing is given back behind a holder: after its crash, exec or end the count is as it left it, and an unnamed set
 * that nobody destroyed stays in the system. A fork takes nothing for the child. */

/* Returns a semaphore with an initial count; null for a count above 32767, a bad name, or when the system refuses. */
QVSUPT32_API OSSyncInfo *OSSemaphoreCreate(const char *name, int32_t initial);
QVSUPT32_API OSSyncInfo *SMSemaphoreCreate(const char *name, int32_t initial);

/* Returns a handle to a named semaphore that exists; else null. */
QVSUPT32_API OSSyncInfo *OSSemaphoreOpen(const char *name);
QVSUPT32_API OSSyncInfo *SMSemaphoreOpen(const char *name);

/* Takes 1 from the count. 271 for null, 257 for no semaphore, 3 when every try failed, -1 when the wait without limit
 * failed (the set was removed), else 0. */
QVSUPT32_API int32_t OSSemaphoreAcquireWait(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMSemaphoreAcquireWait(OSSyncInfo *handle, uint32_t timeout);

/* Adds to the count in one atomic step; zero and negative counts are legal.
 *   271  handle is null or count above 32767
 *   257  no semaphore
 *   16   the sum would leave 0 to 32767, or the set is gone; nothing changes
 *   0    added
 * previous may be null; otherwise it receives the count as it was read before, with 16 too where the set exists. */
QVSUPT32_API int32_t OSSemaphoreRelease(OSSyncInfo *handle, int32_t count, uint32_t *previous);
QVSUPT32_API int32_t SMSemaphoreRelease(OSSyncInfo *handle, int32_t count, uint32_t *previous);

/* Releases the handle; removes the set if this handle created or adopted it. */
QVSUPT32_API void OSSemaphoreDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMSemaphoreDestroy(OSSyncInfo *handle);

/* Shared memory -----------------------------------------------------------------------------------------------------
 *
 * A segment is guarded by its creating process: while that lives, nobody else can create it; when it crashed or ended
 * without freeing, opens are refused and the next create takes the segment over with its content and size. Whoever took
 * it over guards it, but does not own it: the segment then stays in the system until its administrator removes it.
 *
 * A forked child shares the mapping and not the guard, which falls with the parent. An exec drops the mapping and keeps
 * the guard, which falls with the process. A segment that its owner frees lives on for those that have it attached and
 * is found by nobody else; a later create of the name makes another. */

/* Returns a segment of size bytes, attached for reading and writing; null for a null or bad name, a live creator, or
 * when the system refuses. */
QVSUPT32_API OSSyncInfo *OSSharedMemCreate(const char *name, uint32_t size);
QVSUPT32_API OSSyncInfo *SMSharedMemCreate(const char *name, uint32_t size);

/* Returns a segment that exists, attached for reading and writing; null for a null or bad name, when its creator is
 * gone, when there is none, or when the system refuses. */
QVSUPT32_API OSSyncInfo *OSSharedMemOpen(const char *name);
QVSUPT32_API OSSyncInfo *SMSharedMemOpen(const char *name);

/* Returns the attached address, valid until the free; null for null and other kinds. */
QVSUPT32_API void *OSSharedMemGetAddressPtr(OSSyncInfo *handle);
QVSUPT32_API void *SMSharedMemGetAddressPtr(OSSyncInfo *handle);

/* Detaches the segment and releases the handle. The handle that created it also removes it, when its last user
 * detaches, and its guard; one that took it over leaves both, and the guard returns when its process ends. */
QVSUPT32_API void OSSharedMemFree(OSSyncInfo *handle);
QVSUPT32_API void SMSharedMemFree(OSSyncInfo *handle);

/* Events ------------------------------------------------------------------------------------------------------------
 *
 * A manual-reset event stays signalled until it is reset; an automatic one releases one waiter a signal. A create that
 * meets an existing event adopts it as for semaphores, signal and all, and its handle has the mode that it asked for.
 *
 * Openers learn the mode of a named event from a mark that its creating process holds, a record lock of the IPC file.
 * The mark goes when that process crashes, ends, execs or detaches the library, and a forked child does not inherit it:
 * events opened afterwards are automatic. The creating process itself must not open the event: the open finds it
 * automatic and removes the mark. Handles keep the mode that they were made with.
 *
 * On an event that was removed under them, waits end as for semaphores, a set with -1, and a reset with 0; so does a
 * pulse of a manual-reset one, while that of an automatic one answers -1. */

/* Returns an event. manualReset and initialState count when they are 1. Null for a bad name or when the system
 * refuses. */
QVSUPT32_API OSSyncInfo *OSEventCreate(const char *name, int16_t manualReset, int16_t initialState);
QVSUPT32_API OSSyncInfo *SMEventCreate(const char *name, int16_t manualReset, int16_t initialState);

/* Returns a handle to a named event that exists; else null. */
QVSUPT32_API OSSyncInfo *OSEventOpen(const char *name);
QVSUPT32_API OSSyncInfo *SMEventOpen(const char *name);

/* Waits for the signal. 271 for null, 257 for no event, 3 when every try failed, -1 for another failure, else 0. */
QVSUPT32_API int32_t OSEventWait(OSSyncInfo *handle, uint32_t timeout);
QVSUPT32_API int32_t SMEventWait(OSSyncInfo *handle, uint32_t timeout);

/* Signals. 271 for null, 257 for no event, -1 when it failed, else 0. */
QVSUPT32_API int32_t OSEventSet(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventSet(OSSyncInfo *handle);

/* Takes the signal back. 271 for null, 257 for no event, else 0. */
QVSUPT32_API int32_t OSEventReset(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventReset(OSSyncInfo *handle);

/* Signals; a manual-reset event only where it is not signalled. Not atomic for those. 271 for null, 257 for no event,
 * -1 when an automatic event could not be signalled, else 0. */
QVSUPT32_API int32_t OSEventPulse(OSSyncInfo *handle);
QVSUPT32_API int32_t SMEventPulse(OSSyncInfo *handle);

/* Releases the handle; the one that created or adopted the event removes it with its mark. */
QVSUPT32_API void OSEventDestroy(OSSyncInfo *handle);
QVSUPT32_API void SMEventDestroy(OSSyncInfo *handle);

/* Threads ---------------------------------------------------------------------------------------------------------- */

typedef struct OSThread {
  OSRoutine routine;
  uintptr_t argument;
  uintptr_t thread; /* the platform's identifier */
  SMExportContext context;
} OSThread;

/* Starts a thread that runs the routine. Returns its record, released by exactly one OSThreadStop; null for a null
 * routine, short memory or a thread that cannot be created. A forked child has none of its parent's threads and leaves
 * their records alone. */
QVSUPT32_API OSThread *OSThreadStart(OSRoutine routine, uintptr_t argument);
QVSUPT32_API OSThread *SMThreadStart(OSRoutine routine, uintptr_t argument);

/* Waits until the routine has returned and releases the record. 271 for null, else 0. Not from the thread itself. */
QVSUPT32_API int32_t OSThreadStop(OSThread *thread);
QVSUPT32_API int32_t SMThreadStop(OSThread *thread);

/* What a new thread runs: the routine of the record, which may be null. Returns null and frees nothing. */
QVSUPT32_API void *OSThreadStub(void *thread);

/* Dynamic libraries ------------------------------------------------------------------------------------------------ */

/* Loads a library (dlopen(3), symbols bound lazily). Null for a null path, short memory or a library that cannot be
 * loaded. */
QVSUPT32_API OSSyncInfo *OSLibLoad(const char *path);
QVSUPT32_API OSSyncInfo *SMLibLoad(const char *path);

/* Unloads it and releases the record. 271 for null, 257 for another kind or a record without a library, -1 when the
 * loader refuses (the record stays), else 0. */
QVSUPT32_API int32_t OSLibUnLoad(OSSyncInfo *library);
QVSUPT32_API int32_t SMLibUnLoad(OSSyncInfo *library);

/* Returns the address of an exported symbol, valid until the unload; null for a null or other record, or no such
 * symbol. */
QVSUPT32_API void *OSLibLinkToExportFN(OSSyncInfo *library, const char *symbol);
QVSUPT32_API void *SMLibLinkToExportFN(OSSyncInfo *library, const char *symbol);

/* Only checks the record: 271 for null, 257 for another kind or no library, else 0. */
QVSUPT32_API int32_t OSLibUnLinkFromExportFN(OSSyncInfo *library, void *address);
QVSUPT32_API int32_t SMLibUnLinkFromExportFN(OSSyncInfo *library, void *address);

/* Process services ------------------------------------------------------------------------------------------------- */

/* Restarts the machine when mode is 1, else halts it, by "/sbin/shutdown" in the background. unused is not looked at.
 * Returns 1, whatever becomes of the command. */
QVSUPT32_API SMBool OSShutdown(int16_t unused, int16_t mode);
QVSUPT32_API int32_t SMOSShutdown(int16_t unused, int16_t mode);

/* Returns 1 when the standard input can be read without waiting (its end included), else 0. Reads nothing. */
QVSUPT32_API uint32_t OSkbhit(void);
QVSUPT32_API uint32_t SMkbhit(void);

/* Do nothing on Linux. Return 0. */
QVSUPT32_API int32_t OSLongFileNamesEnable(void);
QVSUPT32_API int32_t SMLongFileNamesEnable(void);
QVSUPT32_API int32_t OSLongFileNamesDisable(void);
QVSUPT32_API int32_t SMLongFileNamesDisable(void);

/* Critical sections -------------------------------------------------------------------------------------------------
 *
 * Local mutexes under other names. Null is ignored; results are not reported. */

/* Returns a critical section, null when memory is short. */
QVSUPT32_API SMLocalMutex *OSInitCriticalSection(void);
QVSUPT32_API void OSEnterCriticalSection(SMLocalMutex *section);
QVSUPT32_API void OSExitCriticalSection(SMLocalMutex *section);

/* Destroys and frees a section that nobody holds. */
QVSUPT32_API void OSDeleteCriticalSection(SMLocalMutex *section);

/* The registry of the sections named by routines, and its lock; the lock is null while the library is not attached. The
 * library's own. */
QVSUPT32_API extern OSSyncInfo *pOSCritSectRBTLock;
QVSUPT32_API extern SMRedBlackTreeNode *pOSCritSecRBTree;

/* Runs the routine in a critical section of its own, which exists while somebody is inside or waits. Threads that run
 * the same routine through this call exclude each other, different routines do not. A routine may run others this way,
 * but not itself, directly or through others. The routine does not run when it is null, when timeout is not 0xFFFFFFFF,
 * when the library is not attached, or when memory is short.
 * A forked child inherits the sections as they are: it waits for ever for one that another thread was in. */
QVSUPT32_API void OSCriticalSectionExecute(OSRoutine routine, uintptr_t argument, uint32_t timeout);
QVSUPT32_API void SMCriticalSectionExecute(OSRoutine routine, uintptr_t argument, uint32_t timeout);

/* Steps of the library's attach and detach. Attach returns 1, or 0 when the lock cannot be made. Detach must not run
 * while OSCriticalSectionExecute does. */
QVSUPT32_API SMBool OSCriticalSectionAttach(void);
QVSUPT32_API void OSCriticalSectionDetach(void);

/* Callback of the registry: compares a routine's address with that of a record. */
QVSUPT32_API int32_t OSCriticalSectionRBTWalk(void *key, void *record);

QVSUPT32_END_C

#endif
