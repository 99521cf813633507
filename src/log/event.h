// An event as both logs take it: its fields, their limits, and the events that a log records by itself.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "qvsupt32/log.h"

namespace qv::log {

constexpr uint32_t kClearedID = 0;
constexpr uint32_t kBackupCreatedID = 1;
constexpr uint32_t kDefaultMaximumSize = 1048576;
constexpr uint32_t kLongestDescription = 16383;
constexpr uint32_t kLargestData = 32768;

struct Event {
  uint16_t type;
  uint32_t id;
  const SMChar16 *userInfo;  // the text log has no place for it
  const SMChar16 *source;
  const SMChar16 *description;
  const void *data;
  uint32_t dataSize;
};

inline Event clearedEvent(const SMChar16 *userInfo, const SMChar16 *source)
{
  return {SM_EVENT_INFORMATION, kClearedID, userInfo, source, uniLogCleared_en_US, nullptr, 0};
}

/// Says in a new log that the old one was moved, in the name of the event that was the reason.
inline Event backupCreatedEvent(const Event &reason)
{
  return {
      SM_EVENT_INFORMATION, kBackupCreatedID, reason.userInfo, reason.source, uniLogBackupCreated_en_US, nullptr, 0};
}

/// True if a text is null or has 1 to `longest` units.
inline bool hasLengthIfGiven(const SMChar16 *text, size_t longest)
{
  if (text == nullptr) {
    return true;
  }
  const size_t length = ucs2Length(text);
  return length >= 1 && length <= longest;
}

/// True if an event keeps the limits that both logs have.
inline bool isWithinLimits(const Event &event)
{
  constexpr size_t kLongestSource = 1023;  // of user information too
  return event.dataSize <= kLargestData && (event.dataSize == 0 || event.data != nullptr) &&
         hasLengthIfGiven(event.userInfo, kLongestSource) && hasLengthIfGiven(event.source, kLongestSource) &&
         hasLengthIfGiven(event.description, kLongestDescription);
}

}  // namespace qv::log
