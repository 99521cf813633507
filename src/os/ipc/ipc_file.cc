// The IPC file and its records.
//
// Promises: one descriptor for the process, close-on-exec, above the standard streams. It is never open twice: closing
// any descriptor of the file drops every record lock of the process, so a second one could only be leaked.
// Leaves to others: exclusion among threads (frame/lock), and when to close the file (frame/lifecycle).

#include "os/ipc/ipc_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "base/polling.h"
#include "base/process_gate.h"
#include "base/status.h"
#include "qvsupt32/os.h"

int32_t l_ipc_fd = -1;
const char *l_ipc_filename = nullptr;

namespace {

using qv::Attempt;
using qv::Status;

constexpr int kClosed = -1;
constexpr char kSharedDirectory[] = "/etc/tallowmere/shared";
constexpr char kSharedIpcFile[] = "/etc/tallowmere/shared/.sharedipc";
constexpr char kOwnIpcFile[] = "/etc/tallowmere/vela/.velaipc";

/// For the thread that opens the file. The innermost lock of the library.
constinit qv::ProcessGate openingGate;

/// Counts the openings: the number of a descriptor that has gone bad is often that of the next one, too.
constexpr uint32_t kNoOpening = 0;
constinit std::atomic<uint32_t> openings{kNoOpening};

/// The descriptor, which threads read and replace without a common lock.
std::atomic_ref<int32_t> descriptor()
{
  return std::atomic_ref<int32_t>(l_ipc_fd);
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

bool openFile()
{
  if (descriptor() != kClosed) {
    return true;
  }
  if (l_ipc_filename == nullptr) {
    l_ipc_filename = access(kSharedDirectory, F_OK) == 0 ? kSharedIpcFile : kOwnIpcFile;
  }
  descriptor() = openAboveStandardStreams(l_ipc_filename);
  ++openings;
  return descriptor() != kClosed;
}

/// Opens the file unless it is open, where the descriptor of `badOpening` counts as closed. One thread at a time: the
/// others use what it has opened.
bool openInTurn(uint32_t badOpening)
{
  uint32_t stepsTaken;
  (void)openingGate.enter(UINT32_MAX, stepsTaken);  // opening does not take 49 days
  if (badOpening != kNoOpening && badOpening == openings) {
    descriptor() = kClosed;
  }
  const bool isOpen = openFile();
  const int error = errno;
  openingGate.leave();
  errno = error;
  return isOpen;
}

/// Places or removes the lock of one record. Opens the file again if its descriptor has gone bad.
Attempt setRecordLock(uint32_t record, int command, short type)
{
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = record;
  lock.l_len = 1;
  for (;;) {
    const uint32_t opening = openings;  // before the descriptor, which is replaced before it is counted
    if (fcntl(descriptor(), command, &lock) == 0) {
      return Attempt::done;
    }
    switch (errno) {
      case EINTR:
        break;
      case EBADF:
        if (!openInTurn(opening)) {
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

namespace qv {

void clearIpcGate()
{
  openingGate.clear();
}

}  // namespace qv

int32_t OpenIPCFile(void)
{
  const bool isOpen = descriptor() != kClosed || openInTurn(kNoOpening);
  return qv::signedResult(isOpen ? Status::success : Status::unsuccessful);
}

int32_t CloseIPCFile(void)
{
  if (l_ipc_fd != kClosed) {
    (void)close(l_ipc_fd);  // nothing was written, and the descriptor is gone whatever close reports
    l_ipc_fd = kClosed;
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
