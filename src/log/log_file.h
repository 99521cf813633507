// A log's file, whichever log it is: opening it, the lock around a record, the backup that comes before a record that
// would bring it to its maximum size, and its removal.
//
// Leaves to others: what a record is (text_log, xml_log) and where a log lies (front_end).
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "base/status.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/types.h"
#include "store/file_util.h"

namespace qv::log {

/// The largest log that takes a record. The size functions of the stores measure in signed 32 bits, so a log beyond that
/// has no size: it is neither moved nor appended to.
constexpr off_t kLargestLog = INT32_MAX;

/// An open log, closed by scope.
class LogFile {
 public:
  /// `access` is O_WRONLY or O_RDWR, with O_APPEND or without.
  LogFile(const char *path, int access) : path_(path), access_(access) {}
  ~LogFile() { close(); }
  LogFile(const LogFile &) = delete;
  LogFile &operator=(const LogFile &) = delete;

  /// Opens the log if it exists, gives it the permissions of a log, and takes its size. False also for a pipe, which
  /// could hold the lock up for everybody.
  bool openExisting() { return open(false); }
  bool openOrCreate() { return open(true); }

  /// Closes a log that nothing was written to.
  void close();

  /// Closes the log after writing. False if the close reports that bytes were lost.
  [[nodiscard]] bool closeWritten();

  explicit operator bool() const { return descriptor_ >= 0; }
  const char *path() const { return path_; }
  int descriptor() const { return descriptor_; }
  off_t size() const { return size_; }

 private:
  bool open(bool create);

  const char *path_;
  int access_;
  int descriptor_ = -1;
  off_t size_ = 0;
};

/// True if a record would bring a log to its maximum size or past it: the one test of all backups.
constexpr bool reachesMaximum(off_t size, uint64_t recordSize, uint32_t maximumSize)
{
  return size <= kLargestLog && static_cast<uint64_t>(size) + recordSize >= maximumSize;
}

/// GetBackupXMLLogPathFileName.
Status makeBackupName(const char *path, char *buffer, uint32_t *size);

/// Moves a log to its backup name. The caller holds the global file lock.
Status moveToBackup(const char *path);

/// Removes a log under the global file lock.
Status deleteLog(const char *path);

/// Creates the directory of a log that does not exist yet.
Status createMissingDirectory(const char *path);

/// Calls append() under the global file lock and returns its status. A log without a directory is refused before the
/// wait for the lock; append() creates the directory too, so that a lock that is free costs no look at it.
template <class Append>
Status appendUnderLock(const char *path, Append append)
{
  if (const FileGuard guard(SM_LOCK_TRY); guard) {
    return append();
  }
  if (const Status status = createMissingDirectory(path); status != Status::success) {
    return status;
  }
  const FileGuard guard(kFileLockWait);
  return guard ? append() : Status::lockFailed;
}

/// Opens the log that a record goes to, unless it is open: creates a missing directory and a missing log, and moves a log
/// that the record would bring to its maximum size, after which recordBackup() may write to the new one. The caller holds
/// the lock. The maximum is read here, as it may be a variable that the lock guards.
template <class RecordBackup>
Status openForRecord(LogFile &log, uint64_t recordSize, const uint32_t &maximumSize, RecordBackup recordBackup)
{
  if (!log && !log.openExisting()) {
    if (const Status status = createDirectoryOf(log.path()); status != Status::success) {
      return status;
    }
  } else if (reachesMaximum(log.size(), recordSize, maximumSize)) {
    log.close();
    if (moveToBackup(log.path()) == Status::success) {
      recordBackup();
    }
  }
  return log || log.openOrCreate() ? Status::success : Status::unsuccessful;
}

}  // namespace qv::log
