// See log_file.h; and the functions on a log's file that both logs share: its directory, its backup, its removal.

#include "log/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/alias.h"
#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/log.h"
#include "qvsupt32/store.h"
#include "qvsupt32/strings.h"
#include "store/file_util.h"

namespace qv::log {
namespace {

constexpr mode_t kPermissions = 07777;

Status makeBackupName(const char *path, char *buffer, uint32_t *size)
{
  const size_t length = path == nullptr ? 0 : strlen(path);
  if (length < 2 || buffer == nullptr || size == nullptr) {
    return Status::invalidParameter;
  }
  const auto needed = static_cast<uint32_t>(length) + 1;
  const bool fits = needed <= *size;
  *size = needed;
  if (!fits) {
    return Status::bufferTooSmall;
  }
  memcpy(buffer, path, needed);
  buffer[length - 1] = '_';
  return Status::success;
}

bool wouldReach(const char *path, uint32_t maximumSize, uint32_t recordSize)
{
  uint32_t size;
  return GetSizeOfFile(path, &size) == SM_STATUS_SUCCESS && uint64_t{size} + recordSize >= maximumSize;
}

/// Moves a log away, under the global file lock, if it is still to be moved once the lock is held.
template <class IsToBeMoved>
Status backUp(const char *path, IsToBeMoved isToBeMoved)
{
  char backup[256];
  uint32_t size = sizeof(backup);
  const Status status = makeBackupName(path, backup, &size);
  if (status != Status::success) {
    return status;
  }
  const FileGuard guard(kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  if (!isToBeMoved()) {
    return Status::unsuccessful;
  }
  (void)DelFile(backup);  // there may be none
  setFileMode(path);
  return rename(path, backup) == 0 ? Status::success : Status::unsuccessful;
}

Status deleteLog(const char *path)
{
  const FileGuard guard(kFileLockWait);
  return guard ? static_cast<Status>(DelFile(path)) : Status::lockFailed;
}

}  // namespace

bool hasLength(const SMChar16 *text, uint32_t longest)
{
  const uint32_t length = UCS2Strlen(text);
  return length >= 1 && length <= longest;
}

Target::Target(const char *path) : path_(path)
{
  struct stat status;
  exists_ = stat(path, &status) == 0;
  size_ = exists_ && S_ISREG(status.st_mode) ? status.st_size : 0;
}

Status Target::createDirectory() const
{
  return exists_ ? Status::success : createDirectoryOf(path_);
}

bool Target::backUp(uint32_t maximumSize, uint32_t recordSize) const
{
  if (static_cast<uint64_t>(size_) + recordSize < maximumSize) {
    return false;
  }
  SMBool backedUp;
  CheckBackupLogFile(path_, maximumSize, recordSize, &backedUp);
  return backedUp != 0;
}

int openLog(const char *path, int flags, off_t &size)
{
  flags |= O_RDWR | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  int file = open(path, flags, kNewFileMode);
  if (file < 0 && errno == EACCES) {
    setFileMode(path);
    file = open(path, flags, kNewFileMode);
  }
  struct stat status;
  if (file < 0) {
    return -1;
  }
  if (fstat(file, &status) != 0 || S_ISFIFO(status.st_mode)) {
    (void)close(file);  // nothing was written through it
    return -1;
  }
  if ((status.st_mode & kPermissions) != kFileMode) {
    setFileMode(path);
  }
  size = status.st_size;
  return file;
}

}  // namespace qv::log

uint32_t CreateLogDir(const char *path)
{
  return result(qv::createDirectoryOf(path));
}

uint32_t DeleteLogFile(const char *path)
{
  return result(qv::log::deleteLog(path));
}

uint32_t GetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size)
{
  return result(qv::log::makeBackupName(path, buffer, size));
}

uint32_t SMGetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetBackupXMLLogPathFileName(path, buffer, size);
}

uint32_t BackupLogFile(const char *path)
{
  return result(qv::log::backUp(path, [] { return true; }));
}

void CheckBackupLogFile(const char *path, uint32_t maximumSize, uint32_t recordSize, SMBool *backedUp)
{
  const auto isToBeMoved = [=] { return qv::log::wouldReach(path, maximumSize, recordSize); };
  *backedUp = isToBeMoved() && qv::log::backUp(path, isToBeMoved) == qv::Status::success ? 1 : 0;
}
