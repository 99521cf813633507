// The statuses as a type of their own: inside the library a status cannot be dropped, and only an exported function
// turns it into a number.
#pragma once

#include <cstdint>

#include "qvsupt32/types.h"

namespace qv {

enum class [[nodiscard]] Status : uint32_t{
    success = SM_STATUS_SUCCESS,
    unsuccessful = SM_STATUS_UNSUCCESSFUL,
    notSupported = SM_STATUS_NOT_SUPPORTED,
    badArgument = SM_STATUS_BAD_ARGUMENT,
    timeout = SM_STATUS_TIMEOUT,
    fileOpenFailed = SM_STATUS_FILE_OPEN_FAILED,
    chdirFailed = SM_STATUS_CHDIR_FAILED,
    lockFailed = SM_STATUS_LOCK_FAILED,
    indexOutOfRange = SM_STATUS_INDEX_OUT_OF_RANGE,
    bufferTooSmall = SM_STATUS_BUFFER_TOO_SMALL,
    notLoaded = SM_STATUS_NOT_LOADED,
    limitExceeded = SM_STATUS_LIMIT_EXCEEDED,
    notFound = SM_STATUS_NOT_FOUND,
    badType = SM_STATUS_BAD_TYPE,
    alreadyExists = SM_STATUS_ALREADY_EXISTS,
    fileNotOpened = SM_STATUS_FILE_NOT_OPENED,
    badIniFile = SM_STATUS_BAD_INI_FILE,
    sectionNotFound = SM_STATUS_SECTION_NOT_FOUND,
    keyNotFound = SM_STATUS_KEY_NOT_FOUND,
    badDataSize = SM_STATUS_BAD_DATA_SIZE,
    fileReplaceFailed = SM_STATUS_FILE_REPLACE_FAILED,
    invalidParameter = SM_STATUS_INVALID_PARAMETER,
    noMemory = SM_STATUS_NO_MEMORY,
    valueTooLarge = SM_STATUS_VALUE_TOO_LARGE,
    valueTooSmall = SM_STATUS_VALUE_TOO_SMALL,
};

constexpr uint32_t result(Status status)
{
  return static_cast<uint32_t>(status);
}

/// For the functions whose results are signed: failure is -1 there.
constexpr int32_t signedResult(Status status)
{
  return static_cast<int32_t>(status);
}

}  // namespace qv
