// Named shared memory: System V segments, each guarded by a semaphore of the same key that the creating process keeps
// taken for as long as it lives. If a guard can be taken without waiting, the creator is gone.

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>

#include "base/alias.h"
#include "base/size.h"
#include "os/ipc/semaphore.h"
#include "os/objects/record.h"
#include "qvsupt32/os.h"

namespace {

constexpr int kMode = 0666;
constexpr int kNoSegment = -1;

struct SharedMemory {
  static constexpr int32_t kKind = SM_KIND_SHARED_MEMORY;
  OSSyncInfo info;
  void *address;
  int32_t guard;
  int32_t segment;
  SMBool owner;
  SMBool holdsGuard;  // taken through this handle; not by an open
};

static_assert(sizeof(void *) != 4 || sizeof(SharedMemory) == 24);

void markForRemoval(SharedMemory &memory)
{
  (void)shmctl(memory.segment, IPC_RMID, nullptr);  // if it fails, the segment is gone
  memory.segment = kNoSegment;
}

/// Whether a guard can be taken without waiting, and given back: its creator is gone then.
bool isStale(int32_t guard)
{
  return WaitForSemaphore(guard, 0) == 0 && ReleaseSemaphore(guard) == 0;
}

/// Attaches the segment; one that cannot be attached is marked for removal.
bool attach(SharedMemory &memory)
{
  void *address = shmat(memory.segment, nullptr, 0);
  if (address == reinterpret_cast<void *>(-1)) {
    markForRemoval(memory);
    return false;
  }
  memory.address = address;
  return true;
}

void detach(SharedMemory &memory)
{
  (void)shmdt(memory.address);  // it was attached here, so it can be detached
  memory.address = nullptr;
}

/// Makes the segment of a key, or takes over that of a creator who is gone.
bool obtainSegment(SharedMemory &memory, int32_t key, uint32_t size, bool creatorGone)
{
  memory.segment = shmget(key, size, IPC_CREAT | IPC_EXCL | kMode);
  if (memory.segment != kNoSegment) {
    memory.owner = 1;
    return true;
  }
  if (errno != EEXIST || !creatorGone) {
    return false;
  }
  memory.segment = shmget(key, 0, kMode);
  return memory.segment != kNoSegment;
}

}  // namespace

namespace qv {

void closeSharedMemory(OSSyncInfo *handle)
{
  const HeapBlock<SharedMemory> memory(recordOf<SharedMemory>(handle));
  if (memory == nullptr) {
    return;
  }
  detach(*memory);
  if (memory->holdsGuard == 1) {
    giveBackOwnUndo(memory->guard);
  }
}

}  // namespace qv

OSSyncInfo *OSSharedMemCreate(const char *name, uint32_t size)
{
  qv::HeapBlock<SharedMemory> memory = qv::allocateNamedRecord<SharedMemory>(name);
  if (memory == nullptr) {
    return nullptr;
  }
  const int32_t key = GetUniqueKeyFromStr(name);
  memory->guard = OpenSemaphore(key);
  const bool guarded = memory->guard != 0;
  if (guarded && !isStale(memory->guard)) {
    return nullptr;
  }
  if (!obtainSegment(*memory, key, size, guarded) || !attach(*memory)) {
    return nullptr;
  }
  bool isNewGuard = false;
  if (!guarded) {
    memory->guard = qv::createSemaphore(key, 1, isNewGuard);
    if (memory->guard == 0) {
      detach(*memory);
      markForRemoval(*memory);
      return nullptr;
    }
  }
  if (WaitForSemaphoreUndo(memory->guard, SM_WAIT_FOREVER) != 0) {
    // Another process has removed the guard meanwhile, or the system has no memory left for undoing.
    const int kept = errno;
    detach(*memory);
    if (memory->owner == 1) {
      markForRemoval(*memory);
    }
    if (isNewGuard) {  // one that exists since the first look is another's
      DestroySemaphore(memory->guard);
    }
    errno = kept;
    return nullptr;
  }
  memory->holdsGuard = 1;
  return qv::handOut(memory);
}

OSSyncInfo *OSSharedMemOpen(const char *name)
{
  qv::HeapBlock<SharedMemory> memory = qv::allocateNamedRecord<SharedMemory>(name);
  if (memory == nullptr) {
    return nullptr;
  }
  const int32_t key = GetUniqueKeyFromStr(name);
  memory->guard = OpenSemaphore(key);
  if (memory->guard != 0 && WaitForSemaphore(memory->guard, 0) == 0) {
    (void)ReleaseSemaphore(memory->guard);  // it was just taken, so it can be given back
    errno = ENOENT;                         // the segment's creator is gone
    return nullptr;
  }
  memory->segment = shmget(key, 0, kMode);
  if (memory->segment == kNoSegment || !attach(*memory)) {
    return nullptr;
  }
  return qv::handOut(memory);
}

void *OSSharedMemGetAddressPtr(OSSyncInfo *handle)
{
  const SharedMemory *memory = qv::recordOf<SharedMemory>(handle);
  return memory == nullptr ? nullptr : memory->address;
}

uint32_t SMSharedMemGetSize(OSSyncInfo *handle)
{
  const SharedMemory *memory = qv::recordOf<SharedMemory>(handle);
  shmid_ds status;
  if (memory == nullptr || shmctl(memory->segment, IPC_STAT, &status) != 0) {
    return 0;
  }
  return qv::clampSize(status.shm_segsz);
}

void OSSharedMemFree(OSSyncInfo *handle)
{
  const qv::HeapBlock<SharedMemory> memory(qv::recordOf<SharedMemory>(handle));
  if (memory == nullptr) {
    return;
  }
  detach(*memory);
  if (memory->owner == 1) {
    markForRemoval(*memory);
    (void)ReleaseSemaphore(memory->guard);  // it is removed on the next line
    DestroySemaphore(memory->guard);
  }
}

QV_ALIAS(SMSharedMemCreate, OSSharedMemCreate)
QV_ALIAS(SMSharedMemOpen, OSSharedMemOpen)
QV_ALIAS(SMSharedMemGetAddressPtr, OSSharedMemGetAddressPtr)
QV_ALIAS(SMSharedMemFree, OSSharedMemFree)
