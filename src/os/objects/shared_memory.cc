// Named shared memory: System V segments, each guarded by a semaphore of the same key that the creating process keeps
// taken for as long as it lives. A guard that can be taken without waiting tells that the creator is gone.

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>

#include "base/alias.h"
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
};

static_assert(sizeof(void *) != 4 || sizeof(SharedMemory) == 24);

void markForRemoval(SharedMemory &memory)
{
  (void)shmctl(memory.segment, IPC_RMID, nullptr);  // a segment that is gone already is what was wanted
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

OSSyncInfo *OSSharedMemCreate(const char *name, uint32_t size)
{
  if (name == nullptr) {
    return nullptr;
  }
  qv::HeapBlock<SharedMemory> memory = qv::allocateRecord<SharedMemory>(name);
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
  if (!guarded) {
    memory->guard = CreateSemaphore(key, 1);
    if (memory->guard == 0) {
      detach(*memory);
      markForRemoval(*memory);
      return nullptr;
    }
  }
  if (WaitForSemaphoreUndo(memory->guard, SM_WAIT_FOREVER) != 0) {
    // Somebody else has removed the guard meanwhile, or the system keeps no more promises to give it back.
    detach(*memory);
    if (memory->owner == 1) {
      markForRemoval(*memory);
    }
    if (!guarded) {
      DestroySemaphore(memory->guard);
    }
    return nullptr;
  }
  return qv::handOut(memory);
}

OSSyncInfo *OSSharedMemOpen(const char *name)
{
  if (name == nullptr) {
    return nullptr;
  }
  qv::HeapBlock<SharedMemory> memory = qv::allocateRecord<SharedMemory>(name);
  if (memory == nullptr) {
    return nullptr;
  }
  const int32_t key = GetUniqueKeyFromStr(name);
  memory->guard = OpenSemaphore(key);
  if (memory->guard != 0 && WaitForSemaphore(memory->guard, 0) == 0) {
    (void)ReleaseSemaphore(memory->guard);  // it was just taken, so it can be given back
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
