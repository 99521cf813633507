// What the tests of the logs share: a fixed clock, a scratch directory, counting.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/scratch.h"

namespace support {

/// What time(2) answers in this program; 0 for the real time.
inline int64_t fixedTime = 0;

constexpr int64_t kAfter2038 = 4102444800;  // Fri Jan  1 00:00:00 2100 UTC

/// A case with a directory, whose clock and time zone stand still.
class FixedTime : public Scratch {
 protected:
  FixedTime()
  {
    setenv("TZ", "UTC", 1);
    fixedTime = kAfter2038;
  }
  ~FixedTime() override { fixedTime = 0; }
};

}  // namespace support
