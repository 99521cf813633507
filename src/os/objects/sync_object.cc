// Named and unnamed mutexes, semaphores and events, and the keys and records behind them.
//
// Promises: a create or open that fails gives back everything that it had obtained.
// Leaves to others: shared memory (shared_memory), the semaphore sets themselves (os/ipc).

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/alias.h"
#include "base/polling.h"
#include "os/ipc/semaphore.h"
#include "os/objects/record.h"
#include "qvsupt32/digest.h"

namespace {

using qv::Attempt;
using qv::Status;

constexpr char kLockFilePrefix[] = "/etc/tallowmere/vela/.";
constexpr size_t kStoredNameMax = 256;  // with its terminator

struct Mutex {
  static constexpr int32_t kKind = SM_KIND_MUTEX;
  OSSyncInfo info;
  union {
    int descriptor;       // of a named one's lock file
    SMLocalMutex *local;  // an unnamed one
  };

  bool isNamed() const { return info.name != nullptr; }
};

struct Semaphore {
  static constexpr int32_t kKind = SM_KIND_SEMAPHORE;
  OSSyncInfo info;
  int32_t id;
  SMBool owner;
};

struct Event {
  static constexpr int32_t kKind = SM_KIND_EVENT;
  OSSyncInfo info;
  int32_t id;
  SMBool owner;
  SMBool manualReset;
};

static_assert(sizeof(void *) != 4 || (sizeof(Mutex) == 12 && sizeof(Semaphore) == 16 && sizeof(Event) == 16));

int32_t keyOf(const char *name)
{
  return name == nullptr ? IPC_PRIVATE : GetUniqueKeyFromStr(name);
}

/// Locks the whole file, until interrupted or waiting as told.
Status lockFile(int descriptor, uint32_t timeout)
{
  if (timeout == SM_WAIT_FOREVER) {
    return flock(descriptor, LOCK_EX) == 0 ? Status::success : Status::unsuccessful;
  }
  const Attempt attempt = qv::pollUntil(
      timeout, [descriptor] { return flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? Attempt::done : Attempt::busy; });
  return attempt == Attempt::done ? Status::success : Status::timeout;
}

Status unlockFile(int descriptor)
{
  int answer;
  do {
    answer = flock(descriptor, LOCK_UN);
  } while (answer != 0 && errno == EINTR);
  return answer == 0 ? Status::success : Status::unsuccessful;
}

OSSyncInfo *makeNamedMutex(const char *name, int flags)
{
  qv::HeapBlock<Mutex> mutex = qv::allocateRecord<Mutex>(name);
  if (mutex == nullptr) {
    return nullptr;
  }
  mutex->descriptor = open(mutex->info.name, flags | O_CLOEXEC, S_IRUSR | S_IWUSR);
  return mutex->descriptor == -1 ? nullptr : qv::handOut(mutex);
}

/// Adds to a semaphore's count in one step; negative counts take from it. The kernel refuses a sum out of range.
Status release(const Semaphore &semaphore, int32_t count, uint32_t *previous)
{
  // Read only for those who ask. To the kernel a change of 0 means waiting for a count of 0, so that is not asked for.
  if (previous != nullptr || count == 0) {
    const int32_t current = qv::semaphoreCount(semaphore.id);
    if (current < 0) {
      return Status::bufferTooSmall;
    }
    if (previous != nullptr) {
      *previous = static_cast<uint32_t>(current);
    }
    if (count == 0) {
      return Status::success;
    }
  }
  const bool added = count >= -qv::kSemaphoreMax && qv::addToSemaphore(semaphore.id, static_cast<int16_t>(count));
  return added ? Status::success : Status::bufferTooSmall;
}

/// Brings a manual-reset event that is not signalled to a count of 1.
void raise(const Event &event)
{
  const int32_t count = qv::semaphoreCount(event.id);
  for (int32_t missing = 1 - count; count >= 0 && missing > 0; --missing) {
    (void)ReleaseSemaphore(event.id);  // a set that is gone meanwhile has no waiters either
  }
}

}  // namespace

uint32_t GenerateCRC32(const void *data, uint32_t length, uint32_t total)
{
  constexpr uint32_t kPolynomial = 0xEDB88320;
  uint32_t crc = 0xFFFFFFFF;
  for (uint32_t i = 0; i < total; ++i) {
    uint32_t byte = i < length ? static_cast<const uint8_t *>(data)[i] : 0;
    for (int bit = 0; bit < 8; ++bit) {
      byte ^= crc & 1;
      crc >>= 1;
      if (byte != 0) {
        crc ^= kPolynomial;
      }
      byte >>= 1;
    }
  }
  return crc;
}

int32_t GetUniqueKeyFromStr(const char *name)
{
  RFC1321Context context;
  RFC1321Load(&context);
  RFC1321AddMsg(&context, name, static_cast<uint32_t>(strlen(name) + 1));
  RFC1321ComputeMsgDigest(&context);
  const uint32_t key = GenerateCRC32(context.digest, sizeof(context.digest), sizeof(context.digest));
  (void)RFC1321UnLoad(&context);  // it returns its argument
  return static_cast<int32_t>(key);
}

OSSyncInfo *OSSyncInfoAlloc(const char *name, uint32_t recordSize, int32_t kind)
{
  const char *prefix = kind == Mutex::kKind ? kLockFilePrefix : "";
  size_t storedSize = 0;
  if (name != nullptr) {
    storedSize = strlen(prefix) + strlen(name) + 1;
    if (*name == '\0' || storedSize > kStoredNameMax) {
      return nullptr;
    }
  }
  if (recordSize < sizeof(OSSyncInfo) || recordSize > UINT32_MAX - storedSize) {
    return nullptr;
  }
  auto *info = static_cast<OSSyncInfo *>(calloc(1, recordSize + storedSize));
  if (info == nullptr) {
    return nullptr;
  }
  info->kind = static_cast<uint32_t>(kind);
  if (name != nullptr) {
    info->name = reinterpret_cast<char *>(info) + recordSize;
    memcpy(info->name, prefix, strlen(prefix));
    memcpy(info->name + strlen(prefix), name, strlen(name) + 1);
  }
  return info;
}

SMBool OSSyncInfoAttach(void)
{
  return 1;
}

void OSSyncInfoDetach(void) {}

OSSyncInfo *OSMutexCreate(const char *name)
{
  if (name != nullptr) {
    return makeNamedMutex(name, O_RDWR | O_CREAT);
  }
  qv::HeapBlock<Mutex> mutex = qv::allocateRecord<Mutex>(nullptr);
  if (mutex == nullptr) {
    return nullptr;
  }
  mutex->local = CreateLocalMutex();
  return mutex->local == nullptr ? nullptr : qv::handOut(mutex);
}

OSSyncInfo *OSMutexOpen(const char *name)
{
  return name == nullptr ? nullptr : makeNamedMutex(name, O_RDONLY);
}

int32_t OSMutexLock(OSSyncInfo *handle, uint32_t timeout)
{
  const Mutex *mutex = qv::recordOf<Mutex>(handle);
  if (mutex == nullptr) {
    return qv::signedResult(qv::refusalOf(handle));
  }
  return mutex->isNamed() ? qv::signedResult(lockFile(mutex->descriptor, timeout))
                          : WaitForLocalMutex(mutex->local, timeout);
}

int32_t OSMutexUnLock(OSSyncInfo *handle)
{
  const Mutex *mutex = qv::recordOf<Mutex>(handle);
  if (mutex == nullptr) {
    return qv::signedResult(qv::refusalOf(handle));
  }
  return mutex->isNamed() ? qv::signedResult(unlockFile(mutex->descriptor)) : ReleaseLocalMutex(mutex->local);
}

void OSMutexDestroy(OSSyncInfo *handle)
{
  const qv::HeapBlock<Mutex> mutex(qv::recordOf<Mutex>(handle));
  if (mutex == nullptr) {
    return;
  }
  if (mutex->isNamed()) {
    (void)close(mutex->descriptor);  // nothing was written through it
    (void)unlink(mutex->info.name);  // another handle may have deleted it already
  } else {
    DestroyLocalMutex(mutex->local);
  }
}

OSSyncInfo *OSSemaphoreCreate(const char *name, int32_t initial)
{
  if (initial > qv::kSemaphoreMax) {
    return nullptr;
  }
  qv::HeapBlock<Semaphore> semaphore = qv::allocateRecord<Semaphore>(name);
  if (semaphore == nullptr) {
    return nullptr;
  }
  semaphore->id = CreateSemaphore(keyOf(name), initial);
  semaphore->owner = 1;
  return semaphore->id == 0 ? nullptr : qv::handOut(semaphore);
}

OSSyncInfo *OSSemaphoreOpen(const char *name)
{
  if (name == nullptr) {
    return nullptr;
  }
  qv::HeapBlock<Semaphore> semaphore = qv::allocateRecord<Semaphore>(name);
  if (semaphore == nullptr) {
    return nullptr;
  }
  semaphore->id = OpenSemaphore(keyOf(name));
  return semaphore->id == 0 ? nullptr : qv::handOut(semaphore);
}

int32_t OSSemaphoreAcquireWait(OSSyncInfo *handle, uint32_t timeout)
{
  const Semaphore *semaphore = qv::recordOf<Semaphore>(handle);
  return semaphore == nullptr ? qv::signedResult(qv::refusalOf(handle)) : WaitForSemaphore(semaphore->id, timeout);
}

int32_t OSSemaphoreRelease(OSSyncInfo *handle, int32_t count, uint32_t *previous)
{
  if (handle == nullptr || count > qv::kSemaphoreMax) {
    return qv::signedResult(Status::invalidParameter);
  }
  const Semaphore *semaphore = qv::recordOf<Semaphore>(handle);
  return qv::signedResult(semaphore == nullptr ? Status::badType : release(*semaphore, count, previous));
}

void OSSemaphoreDestroy(OSSyncInfo *handle)
{
  const qv::HeapBlock<Semaphore> semaphore(qv::recordOf<Semaphore>(handle));
  if (semaphore != nullptr && semaphore->owner == 1) {
    DestroySemaphore(semaphore->id);
  }
}

OSSyncInfo *OSEventCreate(const char *name, int16_t manualReset, int16_t initialState)
{
  qv::HeapBlock<Event> event = qv::allocateRecord<Event>(name);
  if (event == nullptr) {
    return nullptr;
  }
  event->id = CreateSemaphore(keyOf(name), initialState == 1 ? 1 : 0);
  if (event->id == 0) {
    return nullptr;
  }
  event->owner = 1;
  event->manualReset = manualReset == 1 ? 1 : 0;
  // A mark that somebody else holds serves as well.
  if (event->manualReset == 1 &&
      LockIPCFileRecord(static_cast<uint32_t>(event->id), 0) == qv::signedResult(Status::unsuccessful)) {
    DestroySemaphore(event->id);
    return nullptr;
  }
  return qv::handOut(event);
}

OSSyncInfo *OSEventOpen(const char *name)
{
  if (name == nullptr) {
    return nullptr;
  }
  qv::HeapBlock<Event> event = qv::allocateRecord<Event>(name);
  if (event == nullptr) {
    return nullptr;
  }
  event->id = OpenSemaphore(keyOf(name));
  if (event->id == 0) {
    return nullptr;
  }
  const int32_t mark = LockIPCFileRecord(static_cast<uint32_t>(event->id), 0);
  if (mark == qv::signedResult(Status::unsuccessful)) {
    DestroySemaphore(event->id);
    return nullptr;
  }
  event->manualReset = mark == qv::signedResult(Status::timeout) ? 1 : 0;
  if (event->manualReset == 0) {
    (void)UnlockIPCFileRecord(static_cast<uint32_t>(event->id));  // where it fails, the record goes with the process
  }
  return qv::handOut(event);
}

int32_t OSEventWait(OSSyncInfo *handle, uint32_t timeout)
{
  const Event *event = qv::recordOf<Event>(handle);
  if (event == nullptr) {
    return qv::signedResult(qv::refusalOf(handle));
  }
  const int32_t waited = WaitForSemaphore(event->id, timeout);
  if (waited == qv::signedResult(Status::success) && event->manualReset == 1) {
    raise(*event);
  }
  return waited;
}

int32_t OSEventSet(OSSyncInfo *handle)
{
  const Event *event = qv::recordOf<Event>(handle);
  return event == nullptr ? qv::signedResult(qv::refusalOf(handle)) : ReleaseSemaphore(event->id);
}

int32_t OSEventReset(OSSyncInfo *handle)
{
  const Event *event = qv::recordOf<Event>(handle);
  return event == nullptr ? qv::signedResult(qv::refusalOf(handle)) : ResetSemaphore(event->id);
}

int32_t OSEventPulse(OSSyncInfo *handle)
{
  const Event *event = qv::recordOf<Event>(handle);
  if (event == nullptr) {
    return qv::signedResult(qv::refusalOf(handle));
  }
  if (event->manualReset != 1) {
    return ReleaseSemaphore(event->id);
  }
  raise(*event);
  return qv::signedResult(Status::success);
}

void OSEventDestroy(OSSyncInfo *handle)
{
  const qv::HeapBlock<Event> event(qv::recordOf<Event>(handle));
  if (event != nullptr && event->owner == 1) {
    (void)UnlockIPCFileRecord(static_cast<uint32_t>(event->id));  // where it fails, the record goes with the process
    DestroySemaphore(event->id);
  }
}

QV_ALIAS(SMMutexCreate, OSMutexCreate)
QV_ALIAS(SMMutexOpen, OSMutexOpen)
QV_ALIAS(SMMutexLock, OSMutexLock)
QV_ALIAS(SMMutexUnLock, OSMutexUnLock)
QV_ALIAS(SMMutexDestroy, OSMutexDestroy)
QV_ALIAS(SMSemaphoreCreate, OSSemaphoreCreate)
QV_ALIAS(SMSemaphoreOpen, OSSemaphoreOpen)
QV_ALIAS(SMSemaphoreAcquireWait, OSSemaphoreAcquireWait)
QV_ALIAS(SMSemaphoreRelease, OSSemaphoreRelease)
QV_ALIAS(SMSemaphoreDestroy, OSSemaphoreDestroy)
QV_ALIAS(SMEventCreate, OSEventCreate)
QV_ALIAS(SMEventOpen, OSEventOpen)
QV_ALIAS(SMEventWait, OSEventWait)
QV_ALIAS(SMEventSet, OSEventSet)
QV_ALIAS(SMEventReset, OSEventReset)
QV_ALIAS(SMEventPulse, OSEventPulse)
QV_ALIAS(SMEventDestroy, OSEventDestroy)
