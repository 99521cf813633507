// The statuses of functions with signed results, in their type.
#pragma once

#include <cstdint>

#include "qvsupt32/types.h"

namespace support {

constexpr int32_t kOk = SM_STATUS_SUCCESS;
constexpr int32_t kFailed = static_cast<int32_t>(SM_STATUS_UNSUCCESSFUL);
constexpr int32_t kTimeout = SM_STATUS_TIMEOUT;
constexpr int32_t kTooSmall = SM_STATUS_BUFFER_TOO_SMALL;
constexpr int32_t kBadType = SM_STATUS_BAD_TYPE;
constexpr int32_t kInvalid = SM_STATUS_INVALID_PARAMETER;

}  // namespace support
