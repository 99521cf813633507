// Mutexes: named ones lock a file of their own, unnamed ones are thread mutexes.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/alias.h"
#include "base/input_output.h"
#include "base/polling.h"
#include "os/objects/record.h"

namespace {

using qv::Attempt;
using qv::Status;

struct Mutex {
  static constexpr int32_t kKind = SM_KIND_MUTEX;
  OSSyncInfo info;
  union {
    int descriptor;       // of a named one's lock file
    SMLocalMutex *local;  // an unnamed one
  };

  bool isNamed() const { return info.name != nullptr; }
};

static_assert(sizeof(void *) != 4 || sizeof(Mutex) == 12);

/// Locks the whole file. A signal ends the wait without limit.
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
  return qv::uninterrupted([descriptor] { return flock(descriptor, LOCK_UN); }) == 0 ? Status::success
                                                                                     : Status::unsuccessful;
}

OSSyncInfo *makeNamedMutex(const char *name, int flags)
{
  qv::HeapBlock<Mutex> mutex = qv::allocateNamedRecord<Mutex>(name);
  if (mutex == nullptr) {
    return nullptr;
  }
  mutex->descriptor = open(mutex->info.name, flags | O_CLOEXEC, S_IRUSR | S_IWUSR);
  return mutex->descriptor == -1 ? nullptr : qv::handOut(mutex);
}

}  // namespace

namespace qv {

void closeNamedMutex(OSSyncInfo *handle)
{
  const HeapBlock<Mutex> mutex(recordOf<Mutex>(handle));
  if (mutex != nullptr) {
    (void)close(mutex->descriptor);  // nothing was written through it
  }
}

}  // namespace qv

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
  return makeNamedMutex(name, O_RDONLY);
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
    (void)unlink(mutex->info.name);  // another handle may have deleted it before
  } else {
    DestroyLocalMutex(mutex->local);
  }
}

QV_ALIAS(SMMutexCreate, OSMutexCreate)
QV_ALIAS(SMMutexOpen, OSMutexOpen)
QV_ALIAS(SMMutexLock, OSMutexLock)
QV_ALIAS(SMMutexUnLock, OSMutexUnLock)
QV_ALIAS(SMMutexDestroy, OSMutexDestroy)
