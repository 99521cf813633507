// IPC names, the IPC file and its records, and the global mutexes that are those records under another name.
//
// Promises: one descriptor for the process, close-on-exec, above the standard streams, opened once and never a second
// time beside itself, since closing any descriptor of the file drops every record lock of the process.
// Leaves to others: exclusion among threads (frame/lock), and when to close the file (frame/lifecycle).

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/alias.h"
#include "base/descriptor.h"
#include "base/polling.h"
#include "base/status.h"
#include "qvsupt32/os.h"

uint32_t l_ipc_name_base = 0xFFFFFFFF;
int32_t l_ipc_fd = -1;
const char *l_ipc_filename = nullptr;

namespace {

using qv::Attempt;
using qv::Status;
using qv::UniqueFd;

constexpr uint32_t kBaseNotRead = 0xFFFFFFFF;
constexpr uint32_t kDefaultNameBase = 100000;

constexpr char kConfigFile[] = "/etc/vela.conf";
constexpr char kSharedDirectory[] = "/etc/tallowmere/shared";
constexpr char kSharedIpcFile[] = "/etc/tallowmere/shared/.sharedipc";
constexpr char kOwnIpcFile[] = "/etc/tallowmere/vela/.velaipc";

/// Hands a file out line by line without the heap: fgets(3) with a buffer of 256 bytes.
class LineReader {
 public:
  explicit LineReader(int descriptor) : descriptor_(descriptor) {}

  /// The next line with its line feed, or the next 255 characters of a longer one; empty at the end of the file and
  /// when it cannot be read.
  std::string_view next()
  {
    held_ -= used_;
    memmove(buffer_, buffer_ + used_, held_);
    const void *lineFeed;
    while ((lineFeed = memchr(buffer_, '\n', held_)) == nullptr && held_ < sizeof(buffer_)) {
      const ssize_t got = read(descriptor_, buffer_ + held_, sizeof(buffer_) - held_);
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        return {};  // nobody knows how the line would go on
      }
      if (got == 0) {
        break;
      }
      held_ += static_cast<size_t>(got);
    }
    used_ = lineFeed == nullptr ? held_ : static_cast<size_t>(static_cast<const char *>(lineFeed) - buffer_) + 1;
    return {buffer_, used_};
  }

 private:
  int descriptor_;
  size_t held_ = 0;
  size_t used_ = 0;
  char buffer_[255];
};

std::string_view withoutLeadingSpace(std::string_view text)
{
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  return text;
}

/// Matches a line as the scan pattern " ipcnamebase=%d" does, in the C locale.
std::optional<int32_t> scanNameBase(std::string_view line)
{
  constexpr std::string_view kKey = "ipcnamebase=";
  line = withoutLeadingSpace(line);
  if (!line.starts_with(kKey)) {
    return std::nullopt;
  }
  line.remove_prefix(kKey.size());
  line = withoutLeadingSpace(line);
  const bool negative = line.starts_with('-');
  if (negative || line.starts_with('+')) {
    line.remove_prefix(1);
  }
  if (line.empty() || line.front() < '0' || line.front() > '9') {
    return std::nullopt;
  }
  uint64_t magnitude = 0;
  const uint64_t limit = negative ? uint64_t{INT32_MAX} + 1 : uint64_t{INT32_MAX};
  for (; !line.empty() && line.front() >= '0' && line.front() <= '9'; line.remove_prefix(1)) {
    magnitude = std::min(magnitude * 10 + static_cast<uint64_t>(line.front() - '0'), limit);
  }
  return static_cast<int32_t>(negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude));
}

uint32_t readNameBase()
{
  // A FIFO in the file's place must not hold up the start of every program of the suite.
  const UniqueFd config(open(kConfigFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!config) {
    return kDefaultNameBase;
  }
  LineReader reader(config.get());
  for (std::string_view line = reader.next(); !line.empty(); line = reader.next()) {
    if (const std::optional<int32_t> base = scanNameBase(line)) {
      return static_cast<uint32_t>(*base);
    }
  }
  return kDefaultNameBase;
}

/// Opens the file above the standard streams: a program that was started without them, or that closes and reopens them
/// when it becomes a daemon, must not close the IPC file with them.
int openAboveStandardStreams(const char *path)
{
  const int opened = open(path, O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (opened < 0 || opened > STDERR_FILENO) {
    return opened;
  }
  const int moved = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  (void)close(opened);  // drops no lock: the process holds none while the file is closed
  return moved;
}

/// Places or removes the lock of one record. Opens the file again where its descriptor has gone bad.
Attempt setRecordLock(uint32_t record, int command, short type)
{
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = record;
  lock.l_len = 1;
  while (fcntl(l_ipc_fd, command, &lock) != 0) {
    switch (errno) {
      case EINTR:
        break;
      case EBADF:
        l_ipc_fd = -1;
        if (OpenIPCFile() != 0) {
          return Attempt::failed;
        }
        break;
      case EAGAIN:
      case EACCES:
        return command == F_SETLK ? Attempt::busy : Attempt::failed;
      default:
        return Attempt::failed;
    }
  }
  return Attempt::done;
}

int32_t resultOf(Attempt attempt)
{
  switch (attempt) {
    case Attempt::done:
      return qv::signedResult(Status::success);
    case Attempt::busy:
      return qv::signedResult(Status::timeout);
    case Attempt::failed:
      break;
  }
  return qv::signedResult(Status::unsuccessful);
}

}  // namespace

uint32_t CreateIPCName(uint32_t offset)
{
  if (l_ipc_name_base == kBaseNotRead) {
    l_ipc_name_base = readNameBase();
  }
  return offset + l_ipc_name_base;
}

int32_t OpenIPCFile(void)
{
  if (l_ipc_fd != -1) {
    return qv::signedResult(Status::success);
  }
  if (l_ipc_filename == nullptr) {
    l_ipc_filename = access(kSharedDirectory, F_OK) == 0 ? kSharedIpcFile : kOwnIpcFile;
  }
  l_ipc_fd = openAboveStandardStreams(l_ipc_filename);
  return qv::signedResult(l_ipc_fd == -1 ? Status::unsuccessful : Status::success);
}

int32_t CloseIPCFile(void)
{
  if (l_ipc_fd != -1) {
    (void)close(l_ipc_fd);  // nothing was written, and the descriptor is gone whatever close reports
    l_ipc_fd = -1;
  }
  return qv::signedResult(Status::success);
}

int32_t LockIPCFileRecord(uint32_t record, uint32_t timeout)
{
  if (timeout == SM_WAIT_FOREVER) {
    return resultOf(setRecordLock(record, F_SETLKW, F_WRLCK));
  }
  return resultOf(qv::pollUntil(timeout, [record] { return setRecordLock(record, F_SETLK, F_WRLCK); }));
}

int32_t UnlockIPCFileRecord(uint32_t record)
{
  return resultOf(setRecordLock(record, F_SETLKW, F_UNLCK));
}

uint32_t CreateGlobalMutex(uint32_t name)
{
  if (name == 0 || OpenIPCFile() != 0) {
    return 0;
  }
  return name;
}

// One body under both names: creating and opening differ in nothing.
QV_ALIAS(OpenGlobalMutex, CreateGlobalMutex)

void DestroyGlobalMutex(uint32_t) {}

int32_t WaitForGlobalMutex(uint32_t handle, uint32_t timeout)
{
  return handle == 0 ? qv::signedResult(Status::unsuccessful) : LockIPCFileRecord(handle, timeout);
}

int32_t ReleaseGlobalMutex(uint32_t handle)
{
  return handle == 0 ? qv::signedResult(Status::unsuccessful) : UnlockIPCFileRecord(handle);
}
