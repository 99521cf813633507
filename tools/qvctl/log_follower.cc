// See log_follower.h. A log that was moved or removed is read to its end through its descriptor. That the backup is a
// file that was neither the log nor the backup before shows that the log was moved more than once.

#include "log_follower.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "failure.h"
#include "output.h"

namespace qvctl {
namespace {

void closeFile(int descriptor)
{
  if (descriptor >= 0) {
    (void)close(descriptor);  // nothing was written through it
  }
}

/// What is in a file from a place on.
std::string readFrom(int descriptor, uint64_t place, const std::string &path)
{
  std::string bytes;
  for (;;) {
    constexpr size_t kPiece = 65536;
    const size_t size = bytes.size();
    bytes.resize(size + kPiece);
    const ssize_t got = pread(descriptor, bytes.data() + size, kPiece, static_cast<off_t>(place + size));
    bytes.resize(size + (got > 0 ? static_cast<size_t>(got) : 0));
    if (got == 0) {
      return bytes;
    }
    if (got < 0 && errno != EINTR) {
      throw systemFailure(path, errno);
    }
  }
}

}  // namespace

LogFollower::LogFollower(std::string path, std::string backup) : path_(std::move(path)), backupPath_(std::move(backup))
{
  log_ = openFile(path_);
  if (log_.descriptor < 0) {
    throw systemFailure(path_, errno);
  }
  backup_ = openFile(backupPath_);
}

LogFollower::~LogFollower()
{
  closeFile(log_.descriptor);
  closeFile(backup_.descriptor);
}

LogFollower::File LogFollower::openFile(const std::string &path)
{
  File file;
  file.descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  struct stat status {};
  if (file.descriptor >= 0 && fstat(file.descriptor, &status) == 0) {
    file.device = status.st_dev;
    file.inode = status.st_ino;
  }
  return file;
}

void LogFollower::look(const Take &take)
{
  readOn(take);
  const File next = openFile(path_);
  if (next.descriptor < 0) {
    return;  // between the move and the next event there is no log
  }
  if (next == log_) {
    closeFile(next.descriptor);
    return;
  }
  readOn(take);
  follow(next, take);
  readOn(take);
}

void LogFollower::follow(const File &next, const Take &take)
{
  const bool isSameLog = beginsWithWhatWasRead(next.descriptor);
  const File backup = openFile(backupPath_);
  const bool isUnknown = backup.descriptor >= 0 && !(backup == log_) && !(backup == backup_);
  closeFile(log_.descriptor);
  closeFile(backup_.descriptor);
  backup_ = backup;
  if (!isSameLog) {
    place_ = 0;
    read_.clear();
    seenSize_ = 0;
  }
  if (isUnknown && !isSameLog) {
    complain(path_ + ": moved to its backup more than once: events may be missing here");
    log_ = openFile(backupPath_);
    readOn(take);
    closeFile(log_.descriptor);
    place_ = 0;
    read_.clear();
    seenSize_ = 0;
  }
  log_ = next;
}

bool LogFollower::beginsWithWhatWasRead(int descriptor) const
{
  return !read_.empty() && readFrom(descriptor, 0, path_).starts_with(read_);
}

void LogFollower::readOn(const Take &take)
{
  struct stat status {};
  if (fstat(log_.descriptor, &status) != 0) {
    throw systemFailure(path_, errno);
  }
  const auto size = static_cast<uint64_t>(status.st_size);
  const int64_t time = int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
  if (size < place_) {
    place_ = 0;  // cut short in place: a new log
    read_.clear();
  } else if (size == seenSize_ && time == seenTime_) {
    return;
  }
  std::string bytes = readFrom(log_.descriptor, place_, path_);
  seenSize_ = size;
  seenTime_ = time;
  if (place_ == 0) {
    format_ = recogniseLog(bytes);
    if (!format_) {
      throw toolFailure(path_, "neither a text log nor an XML log");
    }
  }
  const std::string copy = bytes;
  const EventLog log = splitLog(std::move(bytes), *format_);
  if (!log.events.empty()) {
    const uint64_t taken = log.fileEnd(log.events.back().end);
    place_ += taken;
    read_ += copy.substr(0, static_cast<size_t>(taken));
    take(log);
  } else if (place_ == 0) {
    take(log);
  }
}

}  // namespace qvctl
