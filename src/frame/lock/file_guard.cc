// See file_guard.h.

#include "frame/lock/file_guard.h"

#include <cerrno>

#include "base/polling.h"
#include "base/process_gate.h"
#include "base/status.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/os.h"

namespace qv {
namespace {

constinit ProcessGate gate;

/// Takes the record as WaitForGlobalMutex does, and lets the gate know while another process has it.
bool lockRecord(uint32_t steps)
{
  const Attempt attempt = pollUntil(steps, [] {
    switch (WaitForGlobalMutex(hGFileLock, 0)) {
      case signedResult(Status::success):
        return Attempt::done;
      case signedResult(Status::timeout):
        gate.declareWaiting();
        return Attempt::busy;
      default:
        return Attempt::failed;
    }
  });
  gate.declareHolding();
  return attempt == Attempt::done;
}

bool lockBoth(uint16_t mode)
{
  const uint32_t steps = fileLockSteps(mode);
  uint32_t stepsAtGate = 0;
  // Modes that do not wait for other processes still wait up to a minute at the gate: the thread inside is working.
  if (!(mode == kFileLockWait ? gate.enter(steps, stepsAtGate)
                              : gate.enterUnlessInsiderWaits(fileLockSteps(kFileLockWait)))) {
    return false;
  }
  if (!lockRecord(steps - stepsAtGate)) {
    gate.leave();
    return false;
  }
  return true;
}

}  // namespace

FileGuard::FileGuard(uint16_t mode) : held_(lockBoth(mode)) {}

FileGuard::~FileGuard()
{
  if (!held_) {
    return;
  }
  const int kept = errno;
  (void)ReleaseGlobalMutex(hGFileLock);  // a record that cannot be released goes with the process
  gate.leave();
  errno = kept;
}

void clearFileGate()
{
  gate.clear();
}

}  // namespace qv
