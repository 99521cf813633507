// The waits of the global file lock, for those that take it.
#pragma once

#include <cstdint>

#include "qvsupt32/types.h"

namespace qv {

constexpr uint16_t kFileLockWait = SM_LOCK_WAIT;

/// The polling steps that a lock mode allows: about a minute, or a single try.
constexpr uint32_t fileLockSteps(uint16_t mode)
{
  return mode == kFileLockWait ? 60000 : 0;
}

}  // namespace qv
