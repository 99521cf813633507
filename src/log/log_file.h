// What the text log and the XML log have in common: what an event may hold, and the maximum size of a log that the
// library starts by itself.
#pragma once

#include <cstdint>

#include "frame/status.h"

namespace qv::log {

constexpr uint32_t kDefaultMaximumSize = 1048576;
constexpr uint32_t kLongestSource = 1023;  // of user information too
constexpr uint32_t kLongestDescription = 16383;
constexpr uint32_t kLargestData = 32768;

/// The event IDs of the records that a log writes by itself.
constexpr uint32_t kClearedID = 0;
constexpr uint32_t kBackupCreatedID = 1;

/// Whether a text has one to as many units.
bool hasLength(const SMChar16 *text, uint32_t longest);

/// The same for a text that need not be there.
inline bool hasLengthOrIsNone(const SMChar16 *text, uint32_t longest)
{
  return text == nullptr || hasLength(text, longest);
}

/// Whether data is there when there is a size, and is not too large.
inline bool isData(const void *data, uint32_t size)
{
  return size <= kLargestData && (size == 0 || data != nullptr);
}

}  // namespace qv::log
