// A gate that lets one thread of the process through at a time.
//
// It remembers the process whose thread is inside. There is no fork handler that could wait for it, and a child that
// was forked while another thread of its parent was inside finds a gate that no thread of its own will ever leave: it
// walks through.
#pragma once

#include <unistd.h>

#include <atomic>

#include "base/polling.h"

namespace qv {

class ProcessGate {
 public:
  /// Waits for as many polling steps. False when somebody is still inside then. stepsTaken tells how long it waited.
  bool enter(uint32_t steps, uint32_t &stepsTaken)
  {
    return pollUntil(
               steps, [this] { return tryEnter(); }, stepsTaken) == Attempt::done;
  }

  void leave() { insider_.store(kNobody, std::memory_order_release); }

 private:
  static constexpr pid_t kNobody = 0;

  Attempt tryEnter()
  {
    const pid_t self = getpid();
    pid_t seen = insider_.load(std::memory_order_relaxed);
    // Anybody else seen here is a process that this one was forked from.
    const bool entered = seen != self && insider_.compare_exchange_strong(seen, self, std::memory_order_acquire,
                                                                          std::memory_order_relaxed);
    return entered ? Attempt::done : Attempt::busy;
  }

  std::atomic<pid_t> insider_{kNobody};
};

}  // namespace qv
