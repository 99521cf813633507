// Events: System V sets of one, and for a manual-reset event a mark in the IPC file.

#include "base/alias.h"
#include "os/ipc/semaphore.h"
#include "os/objects/record.h"

namespace {

using qv::Status;

struct Event {
  static constexpr int32_t kKind = SM_KIND_EVENT;
  OSSyncInfo info;
  int32_t id;
  SMBool owner;
  SMBool manualReset;
};

static_assert(sizeof(void *) != 4 || sizeof(Event) == 16);

/// Brings a manual-reset event that is not signalled to a count of 1.
void raise(const Event &event)
{
  const int32_t count = qv::semaphoreCount(event.id);
  for (int32_t missing = 1 - count; count >= 0 && missing > 0; --missing) {
    (void)ReleaseSemaphore(event.id);  // a set that is gone meanwhile has no waiters either
  }
}

}  // namespace

OSSyncInfo *OSEventCreate(const char *name, int16_t manualReset, int16_t initialState)
{
  qv::HeapBlock<Event> event = qv::allocateRecord<Event>(name);
  if (event == nullptr) {
    return nullptr;
  }
  event->id = CreateSemaphore(qv::keyOf(name), initialState == SM_INITIALLY_SIGNALLED ? 1 : 0);
  if (event->id == 0) {
    return nullptr;
  }
  event->owner = 1;
  event->manualReset = manualReset == SM_RESET_MANUAL ? 1 : 0;
  // A mark that another process holds serves as well. Without one, openers would take the event for an automatic one:
  // the set goes, an adopted one too.
  if (event->manualReset == 1 &&
      LockIPCFileRecord(static_cast<uint32_t>(event->id), 0) == qv::signedResult(Status::unsuccessful)) {
    DestroySemaphore(event->id);
    return nullptr;
  }
  return qv::handOut(event);
}

OSSyncInfo *OSEventOpen(const char *name)
{
  qv::HeapBlock<Event> event = qv::allocateNamedRecord<Event>(name);
  if (event == nullptr) {
    return nullptr;
  }
  event->id = OpenSemaphore(qv::keyOf(name));
  if (event->id == 0) {
    return nullptr;
  }
  const int32_t mark = LockIPCFileRecord(static_cast<uint32_t>(event->id), 0);
  if (mark == qv::signedResult(Status::unsuccessful)) {
    DestroySemaphore(event->id);  // an event of unknown mode is of no use to anybody
    return nullptr;
  }
  event->manualReset = mark == qv::signedResult(Status::timeout) ? 1 : 0;
  if (event->manualReset == 0) {
    (void)UnlockIPCFileRecord(static_cast<uint32_t>(event->id));  // if it fails, the record goes with the process
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
    (void)UnlockIPCFileRecord(static_cast<uint32_t>(event->id));  // if it fails, the record goes with the process
    DestroySemaphore(event->id);
  }
}

QV_ALIAS(SMEventCreate, OSEventCreate)
QV_ALIAS(SMEventOpen, OSEventOpen)
QV_ALIAS(SMEventWait, OSEventWait)
QV_ALIAS(SMEventSet, OSEventSet)
QV_ALIAS(SMEventReset, OSEventReset)
QV_ALIAS(SMEventPulse, OSEventPulse)
QV_ALIAS(SMEventDestroy, OSEventDestroy)
