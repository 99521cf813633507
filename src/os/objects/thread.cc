// Threads: started with one routine and one argument, and joined.

#include <pthread.h>

#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
#include "base/stack.h"
#include "base/status.h"
#include "frame/export.h"
#include "qvsupt32/os_objects.h"

using qv::Status;

namespace {

static_assert(sizeof(pthread_t) == sizeof(uintptr_t));

/// Creates the record's thread. Its identifier is in the record before it runs.
bool create(OSThread &thread)
{
  return pthread_create(reinterpret_cast<pthread_t *>(&thread.thread), nullptr, OSThreadStub, &thread) == 0;
}

}  // namespace

OSThread *OSThreadStart(OSRoutine routine, uintptr_t argument)
{
  if (routine == nullptr) {
    return nullptr;
  }
  SMExportContext callers = 0;
  OSSetExportContext(&callers, &origECI);
  qv::HeapBlock<OSThread> thread(static_cast<OSThread *>(malloc(sizeof(OSThread))));
  if (thread != nullptr) {
    *thread = {routine, argument, 0, callers};
    if (!create(*thread)) {
      thread.reset();
    }
  }
  OSResetExportContext(&callers);
  return thread.release();
}

QV_ALIGNS_STACK void *OSThreadStub(void *thread)
{
  const qv::ExportBracket library;
  if (const auto *started = static_cast<const OSThread *>(thread)) {
    SMExportContext starters = started->context;
    OSSetExportContext(&starters, &origECI);
    (void)started->routine(started->argument);  // its result has no meaning
    OSResetExportContext(&starters);
  }
  return nullptr;
}

int32_t OSThreadStop(OSThread *thread)
{
  const qv::ExportBracket library;
  if (thread == nullptr) {
    return qv::signedResult(Status::invalidParameter);
  }
  (void)pthread_join(static_cast<pthread_t>(thread->thread),
                     nullptr);  // it fails only for a thread that was stopped before
  free(thread);
  return qv::signedResult(Status::success);
}

QV_ALIAS(SMThreadStart, OSThreadStart)
QV_ALIAS(SMThreadStop, OSThreadStop)
