// See file_guard.h.

#include "frame/file_guard.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "frame/global_lock.h"
#include "os/polling.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/os.h"

namespace qv {
namespace {

constexpr pid_t kNobody = 0;

/// The process whose thread is inside the gate.
constinit std::atomic<pid_t> insider{kNobody};

Attempt tryEnter()
{
  const pid_t self = getpid();
  pid_t seen = insider.load(std::memory_order_relaxed);
  // Anybody else seen here is a process that this one was forked from.
  const bool entered =
      seen != self && insider.compare_exchange_strong(seen, self, std::memory_order_acquire, std::memory_order_relaxed);
  return entered ? Attempt::done : Attempt::busy;
}

void leave()
{
  insider.store(kNobody, std::memory_order_release);
}

bool lockBoth(uint16_t mode)
{
  const uint32_t steps = fileLockSteps(mode);
  uint32_t stepsAtGate;
  if (pollUntil(steps, tryEnter, stepsAtGate) != Attempt::done) {
    return false;
  }
  if (WaitForGlobalMutex(hGFileLock, steps - stepsAtGate) != 0) {
    leave();
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
  leave();
  errno = kept;
}

}  // namespace qv
