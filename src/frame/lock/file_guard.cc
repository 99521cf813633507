// See file_guard.h.

#include "frame/lock/file_guard.h"

#include <cerrno>

#include "base/process_gate.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/os.h"

namespace qv {
namespace {

constinit ProcessGate gate;

bool lockBoth(uint16_t mode)
{
  const uint32_t steps = fileLockSteps(mode);
  uint32_t stepsAtGate;
  if (!gate.enter(steps, stepsAtGate)) {
    return false;
  }
  if (WaitForGlobalMutex(hGFileLock, steps - stepsAtGate) != 0) {
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
  (void)ReleaseGlobalMutex(hGFileLock);  // a record that cannot be released goes with the process; nobody can act on it
  gate.leave();
  errno = kept;
}

}  // namespace qv
