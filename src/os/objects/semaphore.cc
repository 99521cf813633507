// Counting semaphores: System V sets of one.

#include "os/ipc/semaphore.h"

#include <cerrno>

#include "base/alias.h"
#include "os/objects/record.h"

namespace {

using qv::Status;

struct Semaphore {
  static constexpr int32_t kKind = SM_KIND_SEMAPHORE;
  OSSyncInfo info;
  int32_t id;
  SMBool owner;
};

static_assert(sizeof(void *) != 4 || sizeof(Semaphore) == 16);

/// Adds to a semaphore's count in one step; negative counts take from it. The kernel refuses a sum out of range.
Status release(const Semaphore &semaphore, int32_t count, uint32_t *previous)
{
  // Read only where it is used. A change of 0 is no operation for the kernel, which would wait for a count of 0.
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

}  // namespace

OSSyncInfo *OSSemaphoreCreate(const char *name, int32_t initial)
{
  if (initial > qv::kSemaphoreMax) {
    errno = EINVAL;
    return nullptr;
  }
  qv::HeapBlock<Semaphore> semaphore = qv::allocateRecord<Semaphore>(name);
  if (semaphore == nullptr) {
    return nullptr;
  }
  semaphore->id = CreateSemaphore(qv::keyOf(name), initial);
  semaphore->owner = 1;
  return semaphore->id == 0 ? nullptr : qv::handOut(semaphore);
}

OSSyncInfo *OSSemaphoreOpen(const char *name)
{
  qv::HeapBlock<Semaphore> semaphore = qv::allocateNamedRecord<Semaphore>(name);
  if (semaphore == nullptr) {
    return nullptr;
  }
  semaphore->id = OpenSemaphore(qv::keyOf(name));
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

QV_ALIAS(SMSemaphoreCreate, OSSemaphoreCreate)
QV_ALIAS(SMSemaphoreOpen, OSSemaphoreOpen)
QV_ALIAS(SMSemaphoreAcquireWait, OSSemaphoreAcquireWait)
QV_ALIAS(SMSemaphoreRelease, OSSemaphoreRelease)
QV_ALIAS(SMSemaphoreDestroy, OSSemaphoreDestroy)
