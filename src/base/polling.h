// The polling wait: the one meaning of every timeout that is not "without limit".
#pragma once

#include <unistd.h>

#include <cstdint>

namespace qv {

enum class Attempt { done, busy, failed };

/// Tries once, and again after each of up to `timeout` sleeps of one millisecond while the answer is busy. Steps are
/// counted, not measured. `stepsTaken` is the number of sleeps that went by. Out of line, so that the waits without
/// limit beside it stay short.
template <class Try>
[[gnu::noinline]] Attempt pollUntil(uint32_t timeout, Try attempt, uint32_t &stepsTaken)
{
  for (stepsTaken = 0;; ++stepsTaken) {
    const Attempt answer = attempt();
    if (answer != Attempt::busy || stepsTaken >= timeout) {
      return answer;
    }
    (void)usleep(1000);  // a sleep cut short by a signal is a step as well
  }
}

template <class Try>
Attempt pollUntil(uint32_t timeout, Try attempt)
{
  uint32_t stepsTaken;
  return pollUntil(timeout, attempt, stepsTaken);
}

}  // namespace qv
