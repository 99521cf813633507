// The statuses by names that are short enough for tables.
#pragma once

#include <cstdint>

#include "qvsupt32/types.h"

namespace support {

constexpr uint32_t kOk = SM_STATUS_SUCCESS;
constexpr uint32_t kFailed = SM_STATUS_UNSUCCESSFUL;
constexpr uint32_t kBadArgument = SM_STATUS_BAD_ARGUMENT;
constexpr uint32_t kNoAccess = SM_STATUS_FILE_OPEN_FAILED;
constexpr uint32_t kLocked = SM_STATUS_LOCK_FAILED;
constexpr uint32_t kNoIndex = SM_STATUS_INDEX_OUT_OF_RANGE;
constexpr uint32_t kTooSmall = SM_STATUS_BUFFER_TOO_SMALL;
constexpr uint32_t kLimit = SM_STATUS_LIMIT_EXCEEDED;
constexpr uint32_t kNotFound = SM_STATUS_NOT_FOUND;
constexpr uint32_t kBadType = SM_STATUS_BAD_TYPE;
constexpr uint32_t kExists = SM_STATUS_ALREADY_EXISTS;
constexpr uint32_t kNotOpened = SM_STATUS_FILE_NOT_OPENED;
constexpr uint32_t kBadFile = SM_STATUS_BAD_INI_FILE;
constexpr uint32_t kNoSection = SM_STATUS_SECTION_NOT_FOUND;
constexpr uint32_t kNoKey = SM_STATUS_KEY_NOT_FOUND;
constexpr uint32_t kBadSize = SM_STATUS_BAD_DATA_SIZE;
constexpr uint32_t kNotReplaced = SM_STATUS_FILE_REPLACE_FAILED;
constexpr uint32_t kInvalid = SM_STATUS_INVALID_PARAMETER;
constexpr uint32_t kNoMemory = SM_STATUS_NO_MEMORY;
constexpr uint32_t kValueTooLarge = SM_STATUS_VALUE_TOO_LARGE;
constexpr uint32_t kValueTooSmall = SM_STATUS_VALUE_TOO_SMALL;

}  // namespace support
