// See file_lock.h.

#include "file_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

#include "failure.h"
#include "output.h"
#include "qvsupt32/types.h"

namespace qvctl {
namespace {

constexpr uint32_t kDefaultNameBase = 100000;
constexpr uint32_t kFileLockOffset = 20000;
constexpr mode_t kLockFileMode = 0600;
constexpr std::chrono::milliseconds kPollingStep{1};

/// Places (F_WRLCK) or removes (F_UNLCK) the record lock. Returns 0 or an errno.
int setRecord(int descriptor, short type)
{
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = fileLockRecord();
  lock.l_len = 1;
  while (fcntl(descriptor, F_SETLK, &lock) != 0) {
    if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace

std::string lockFilePath()
{
  return access("/etc/tallowmere/shared", F_OK) == 0 ? "/etc/tallowmere/shared/.sharedipc"
                                                     : "/etc/tallowmere/vela/.velaipc";
}

uint32_t ipcNameBase()
{
  const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen("/etc/vela.conf", "re"), fclose);
  char line[256];
  while (file != nullptr && fgets(line, sizeof line, file.get()) != nullptr) {
    int base = 0;
    if (sscanf(line, " ipcnamebase=%d", &base) == 1) {
      return static_cast<uint32_t>(base);
    }
  }
  return kDefaultNameBase;
}

off_t fileLockRecord()
{
  static const off_t record = static_cast<off_t>(ipcNameBase() + kFileLockOffset);
  return record;
}

int FileLock::openFile()
{
  if (descriptor_ < 0) {
    deadline_ = std::chrono::steady_clock::now() + wait_;
    descriptor_ = open(lockFilePath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kLockFileMode);
  }
  return descriptor_ < 0 ? errno : 0;
}

int FileLock::tryTake()
{
  if (const int error = openFile(); error != 0) {
    return error;
  }
  const int error = setRecord(descriptor_, F_WRLCK);
  return error == EACCES ? EAGAIN : error;
}

void FileLock::take(const std::string &subject)
{
  if (const int error = openFile(); error != 0) {
    complain(lockFilePath() + ": " + strerror(error));
    throw libraryFailure(subject, SM_STATUS_LOCK_FAILED);
  }
  for (;;) {
    const int error = tryTake();
    if (error == 0) {
      return;
    }
    if (error != EAGAIN || std::chrono::steady_clock::now() >= deadline_) {
      throw libraryFailure(subject, SM_STATUS_LOCK_FAILED);
    }
    std::this_thread::sleep_for(kPollingStep);
  }
}

void FileLock::release()
{
  if (descriptor_ >= 0) {
    (void)setRecord(descriptor_, F_UNLCK);  // what cannot be released goes with the process
  }
}

}  // namespace qvctl
