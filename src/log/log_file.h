// What the text log and the XML log have in common: what an event may hold, the steps before a record is appended, and
// opening the file.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "base/status.h"

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

/// A log that a record is to be appended to. Looks at the file once: what it finds saves it most of the system calls of
/// the steps.
class Target {
 public:
  explicit Target(const char *path);

  /// Creates the directory.
  Status createDirectory() const;

  /// Moves the log to its backup where it would reach a maximum size. False when it did not.
  bool backUp(uint32_t maximumSize, uint32_t recordSize) const;

 private:
  const char *path_;
  bool exists_;
  off_t size_;  // 0 of what is no regular file
};

/// Opens a log for reading and writing, with more flags of open(2), creates it when it is missing, gives it the
/// permissions of a log, and tells its size. -1 also for a pipe.
int openLog(const char *path, int flags, off_t &size);

}  // namespace qv::log
