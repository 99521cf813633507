// A gate that lets one thread of the process through at a time, and knows whether the one inside waits for another
// process.
//
// The state is one word, which is also what waiting threads sleep on: the process whose thread is inside, and flags. A
// thread that leaves wakes one that waits. Others may slip in before that one runs, which is cheaper than a switch of
// threads each time; but once a thread has waited for a whole step the gate is left reserved for those that wait.
//
// A forked child has none of its parent's threads: it clears its gates in a fork handler. A child made without fork
// handlers sees another process inside and walks through. A thread is not canceled inside: it would never leave.
#pragma once

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>

namespace qv {

class ProcessGate {
 public:
  /// Enters, waiting for up to `steps` sleeps of a millisecond. Sleeps that a leaving thread cuts short are none of
  /// them; `stepsTaken` is the number of the others. False if a thread of this process is still inside then.
  bool enter(uint32_t steps, uint32_t &stepsTaken) { return enterUncanceled(steps, stepsTaken, false); }

  /// The same for a caller that waits for threads of its own process only: false at once if the insider waits for
  /// another process.
  bool enterUnlessInsiderWaits(uint32_t steps)
  {
    uint32_t stepsTaken;
    return enterUncanceled(steps, stepsTaken, true);
  }

  void leave()
  {
    const int cancelState = cancelState_;
    uint32_t left = state_.load(std::memory_order_relaxed);
    while (!state_.compare_exchange_weak(left, (left & kLate) == 0 ? kFree : (left & ~kFlags) | kReserved)) {
    }
    if (waiting_.load() != 0) {
      wake(1);
    }
    (void)pthread_setcancelstate(cancelState, nullptr);
  }

  /// For the insider: it has to wait for another process.
  void declareWaiting()
  {
    if ((state_.fetch_or(kWaits) & kWaits) == 0 && waiting_.load() != 0) {
      wake(INT_MAX);
    }
  }

  /// For the insider: it waits no longer.
  void declareHolding() { state_.fetch_and(~kWaits); }

  /// For a child after a fork.
  void clear()
  {
    state_ = kFree;
    waiting_ = 0;
  }

 private:
  static constexpr uint32_t kFree = 0;
  static constexpr uint32_t kWaits = 1;     // the insider waits for another process
  static constexpr uint32_t kReserved = 2;  // no thread is inside, and only one that has waited may enter
  static constexpr uint32_t kLate = 4;      // a thread has waited for a whole step
  static constexpr uint32_t kFlags = 7;
  static constexpr int kProcessShift = 3;  // process numbers have 22 bits

  bool enterUncanceled(uint32_t steps, uint32_t &stepsTaken, bool unlessInsiderWaits)
  {
    int cancelState;
    (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);  // fails for unknown states only
    const uint32_t self = static_cast<uint32_t>(getpid()) << kProcessShift;
    uint32_t seen = kFree;
    stepsTaken = 0;
    if (state_.compare_exchange_strong(seen, self, std::memory_order_acquire) ||
        waitToEnter(self, steps, stepsTaken, unlessInsiderWaits)) {
      cancelState_ = cancelState;
      return true;
    }
    (void)pthread_setcancelstate(cancelState, nullptr);
    return false;
  }

  [[gnu::noinline]] bool waitToEnter(uint32_t self, uint32_t steps, uint32_t &stepsTaken, bool unlessInsiderWaits)
  {
    // Counted before the state is looked at again: a thread that leaves after that look finds the count.
    waiting_.fetch_add(1);
    const bool entered = passOrSleep(self, steps, stepsTaken, unlessInsiderWaits);
    waiting_.fetch_sub(1);
    return entered;
  }

  bool passOrSleep(uint32_t self, uint32_t steps, uint32_t &stepsTaken, bool unlessInsiderWaits)
  {
    bool hasSlept = false;
    uint32_t seen = state_.load();
    for (;;) {
      const bool insiderIsForeign = (seen & ~kFlags) != self;  // which holds for a free gate, too
      if (insiderIsForeign || ((seen & kReserved) != 0 && hasSlept)) {
        if (state_.compare_exchange_weak(seen, self)) {
          return true;
        }
        continue;
      }
      if (stepsTaken >= steps || (unlessInsiderWaits && (seen & kWaits) != 0)) {
        return false;
      }
      if (stepsTaken > 0 && (seen & (kLate | kReserved)) == 0) {
        if (!state_.compare_exchange_weak(seen, seen | kLate)) {
          continue;
        }
        seen |= kLate;
      }
      stepsTaken += sleepStep(seen) ? 1 : 0;
      hasSlept = true;
      seen = state_.load();
    }
  }

  /// Sleeps for a millisecond at most while the state is as seen. True if that was a step: neither cut short by a wake
  /// nor refused because the state has changed.
  bool sleepStep(uint32_t seen)
  {
    const struct {
      long seconds, nanoseconds;  // as futex(2) takes them, whatever the width of time_t
    } step = {0, 1000000};
    // A sleep cut short by a signal is a step, or frequent signals would make the wait endless.
    return syscall(SYS_futex, &state_, FUTEX_WAIT_PRIVATE, seen, &step, nullptr, 0) != 0 && errno != EAGAIN;
  }

  void wake(int threads)
  {
    (void)syscall(SYS_futex, &state_, FUTEX_WAKE_PRIVATE, threads, nullptr, nullptr, 0);  // the word is there
  }

  std::atomic<uint32_t> state_{kFree};
  std::atomic<uint32_t> waiting_{0};
  int cancelState_ = 0;  // of the thread inside, from before it entered
};

}  // namespace qv
