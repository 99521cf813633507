// The waits of the global file lock, for those that take it.
#pragma once

#include <cstdint>

namespace qv {

constexpr uint16_t kFileLockWait = 1;

/// The polling steps that a lock mode stands for: about a minute, or a single try.
constexpr uint32_t fileLockSteps(uint16_t mode)
{
  return mode == kFileLockWait ? 60000 : 0;
}

}  // namespace qv
