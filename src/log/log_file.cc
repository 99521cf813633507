// See log_file.h; and the exported functions on a log's file.

#include "log/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "base/size.h"
#include "frame/export.h"
#include "qvsupt32/log.h"
#include "qvsupt32/store.h"

namespace qv::log {
namespace {

constexpr mode_t kPermissions = 07777;

struct BackupName {
  char text[256];

  Status make(const char *path)
  {
    uint32_t size = sizeof(text);
    return makeBackupName(path, text, &size);
  }
};

/// Brings the names of a log's directory to the disk. After a power loss the name of a new log could otherwise be there
/// without the backup's: the old records would have no name at all.
void syncNames(const char *path)
{
  char directory[sizeof(BackupName::text)] = ".";
  if (const char *const slash = strrchr(path, '/'); slash != nullptr) {
    const auto length = static_cast<size_t>(slash - path) + 1;
    memcpy(directory, path, length);
    directory[length] = '\0';
  }
  const UniqueFd names(open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (names) {
    (void)fsync(names.get());  // best effort: some file systems cannot, and the log goes on either way
  }
}

Status move(const char *path, const BackupName &backup)
{
  (void)DelFile(backup.text);  // there may be none
  setFileMode(path);
  if (rename(path, backup.text) != 0) {
    return Status::unsuccessful;
  }
  syncNames(backup.text);
  return Status::success;
}

/// Moves a log to its backup name under the global file lock, if it is due once the lock is held.
template <class IsDue>
Status backUp(const char *path, IsDue isDue)
{
  BackupName backup;
  if (const Status status = backup.make(path); status != Status::success) {
    return status;
  }
  const FileGuard guard(kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  return isDue() ? move(path, backup) : Status::unsuccessful;
}

}  // namespace

Status makeBackupName(const char *path, char *buffer, uint32_t *size)
{
  const size_t length = path == nullptr ? 0 : strlen(path);
  if (length < 2 || size == nullptr) {
    return Status::invalidParameter;
  }
  if (buffer == nullptr && length < *size) {
    return Status::invalidParameter;
  }
  const Status status = copyOut(path, length + 1, buffer, *size);
  if (status == Status::success) {
    buffer[length - 1] = '_';
  }
  return status;
}

bool LogFile::open(bool create)
{
  const int flags = access_ | (create ? O_CREAT : 0) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  descriptor_ = ::open(path_, flags, kNewFileMode);
  if (descriptor_ < 0 && errno == EACCES) {
    setFileMode(path_);
    descriptor_ = ::open(path_, flags, kNewFileMode);
  }
  if (descriptor_ < 0) {
    return false;
  }
  struct stat status;
  if (fstat(descriptor_, &status) != 0 || S_ISFIFO(status.st_mode)) {
    close();
    return false;
  }
  if ((status.st_mode & kPermissions) != kFileMode) {
    setFileMode(path_);
  }
  size_ = status.st_size;
  return true;
}

void LogFile::close()
{
  if (descriptor_ >= 0) {
    (void)::close(descriptor_);  // nothing was written through it
    descriptor_ = -1;
  }
}

bool LogFile::closeWritten()
{
  const int descriptor = descriptor_;
  descriptor_ = -1;
  return ::close(descriptor) == 0;
}

Status moveToBackup(const char *path)
{
  BackupName backup;
  const Status status = backup.make(path);
  return status == Status::success ? move(path, backup) : status;
}

Status deleteLog(const char *path)
{
  const FileGuard guard(kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  return path != nullptr && DelFile(path) == SM_STATUS_SUCCESS ? Status::success : Status::unsuccessful;
}

Status createMissingDirectory(const char *path)
{
  return access(path, F_OK) == 0 ? Status::success : createDirectoryOf(path);
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
  const auto isDue = [=] {
    uint32_t size;
    return path != nullptr && GetSizeOfFile(path, &size) == SM_STATUS_SUCCESS &&
           qv::log::reachesMaximum(size, recordSize, maximumSize);
  };
  *backedUp = isDue() && qv::log::backUp(path, isDue) == qv::Status::success ? 1 : 0;
}
