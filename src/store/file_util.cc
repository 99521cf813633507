// See file_util.h.

#include "store/file_util.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qv {
namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr int kFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// The place of the "/" before the last component; null if the path names no directory.
const char *endOfDirectory(const char *path)
{
  const char *last = strrchr(path, '/');
  return last == path ? nullptr : last;
}

bool isReadable(const struct stat &status)
{
  const dev_t kNull = makedev(1, 3);
  return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) || (S_ISCHR(status.st_mode) && status.st_rdev == kNull);
}

/// Keeps an opened file that can be read to an end, and closes any other.
int keepReadable(int descriptor, struct stat &status)
{
  if (descriptor < 0 || (fstat(descriptor, &status) == 0 && isReadable(status))) {
    return descriptor;
  }
  (void)close(descriptor);  // nothing was written through it
  return -1;
}

bool isForeign(const struct stat &status)
{
  return status.st_uid != 0 && status.st_uid != geteuid();
}

/// Whether users other than root and the caller can exchange what is at a path: its directory belongs to another user,
/// or everybody may write to it and it has no sticky bit.
bool othersControlDirectoryOf(const char *path)
{
  // Not directoryOf: in the root directory the path's own directory counts, and not the working one.
  const char *last = strrchr(path, '/');
  const size_t length = last == nullptr ? 0 : static_cast<size_t>(last - path) + 1;
  PathBuffer directory;
  struct stat status;
  if (length + 2 > sizeof(directory.text)) {
    return true;
  }
  memcpy(directory.text, path, length);
  memcpy(directory.text + length, ".", 2);
  const bool isKnown = stat(directory.text, &status) == 0;
  return !isKnown || isForeign(status) || (status.st_mode & (S_IWOTH | S_ISVTX)) == S_IWOTH;
}

/// The name by which the kernel reopens a descriptor's file.
struct DescriptorPath {
  explicit DescriptorPath(int descriptor) { (void)snprintf(text, sizeof(text), "/proc/self/fd/%d", descriptor); }
  char text[32];
};

}  // namespace

void setFileMode(const char *path)
{
  (void)chmod(path, kFileMode);  // the file may be missing, or be somebody else's
}

void setFileMode(int descriptor, const struct stat &status)
{
  if (S_ISREG(status.st_mode)) {
    (void)fchmod(descriptor, kFileMode);  // it may be somebody else's
  }
}

std::string_view directoryOf(const char *path)
{
  const char *end = endOfDirectory(path);
  return end == nullptr ? std::string_view(".") : std::string_view(path, static_cast<size_t>(end - path));
}

void makeSiblingPath(const char *path, const char *name, PathBuffer &sibling)
{
  const std::string_view directory = directoryOf(path);
  const size_t nameSize = strlen(name) + 1;
  if (directory.size() + 1 + nameSize > sizeof(sibling.text)) {
    sibling.text[0] = '\0';
    return;
  }
  char *end = sibling.text;
  memcpy(end, directory.data(), directory.size());
  end += directory.size();
  *end++ = '/';
  memcpy(end, name, nameSize);
}

Status createDirectory(const char *path)
{
  // Other errors than EEXIST may come first for a directory that exists, such as EROFS or EACCES.
  if (mkdir(path, kDirectoryMode) == 0 || errno == EEXIST || access(path, F_OK) == 0) {
    return Status::success;
  }
  return Status::unsuccessful;
}

Status createDirectoryOf(const char *path)
{
  const char *end = endOfDirectory(path);
  if (end == nullptr) {
    return Status::success;
  }
  const auto length = static_cast<size_t>(end - path);
  PathBuffer directory;
  if (length >= sizeof(directory.text)) {
    return Status::unsuccessful;
  }
  memcpy(directory.text, path, length);
  directory.text[length] = '\0';
  return createDirectory(directory.text);
}

bool mayBeLinkedFromElsewhere(const char *path, const struct stat &status)
{
  return status.st_nlink > 1 && othersControlDirectoryOf(path);
}

PinnedFile::PinnedFile(const char *path, Links links) : pin_(-1)
{
  constexpr int kMostLinks = 40;  // as many as the kernel follows
  const size_t size = strlen(path) + 1;
  if (size > sizeof(path_.text)) {
    path_.text[0] = '\0';
    errno = ENAMETOOLONG;
    return;
  }
  memcpy(path_.text, path, size);
  bool pinned = pin();
  for (int i = 0; pinned && isLink() && links == Links::follow; ++i) {
    pinned = i < kMostLinks && follow() && pin();
  }
}

bool PinnedFile::pin()
{
  pin_.reset(::open(path_.text, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (pin_ && fstat(pin_.get(), &status_) != 0) {
    pin_.reset(-1);
  }
  return bool(pin_);
}

/// Replaces the path of the pinned link by that of its target. False if others could have put the link there.
bool PinnedFile::follow()
{
  PathBuffer target;
  const ssize_t length = readlinkat(pin_.get(), "", target.text, sizeof(target.text));
  const bool isTrusted = !isForeign(status_) && !othersControlDirectoryOf(path_.text);
  pin_.reset(-1);
  const char *last = strrchr(path_.text, '/');
  const size_t start =
      length > 0 && target.text[0] != '/' && last != nullptr ? static_cast<size_t>(last - path_.text) + 1 : 0;
  if (!isTrusted || length <= 0 || start + static_cast<size_t>(length) >= sizeof(path_.text)) {
    errno = ELOOP;
    return false;
  }
  memcpy(path_.text + start, target.text, static_cast<size_t>(length));
  path_.text[start + static_cast<size_t>(length)] = '\0';
  return true;
}

int PinnedFile::open(int flags) const
{
  const int descriptor = ::open(DescriptorPath(pin_.get()).text, flags | kFlags);
  if (descriptor >= 0 || errno != ENOENT) {
    return descriptor;
  }
  // No /proc is mounted here: by its name, if that is still its name.
  UniqueFd named(::open(path_.text, flags | kFlags | O_NOFOLLOW));
  struct stat opened;
  return named && fstat(named.get(), &opened) == 0 && isSameFile(opened, status_) ? named.release() : -1;
}

void PinnedFile::setMode() const
{
  if (isRegular() && !mayBeLinkedFromElsewhere(path_.text, status_)) {
    (void)chmod(DescriptorPath(pin_.get()).text, kFileMode);  // it may be somebody else's
  }
}

int openForReading(const char *path, off_t &size)
{
  const int descriptor = open(path, O_RDONLY | kFlags);
  if (descriptor < 0) {
    return -1;
  }
  // What has an end so near need not be looked at: no pipe has one, and no block device is so small. lseek(2) takes
  // half the time of fstat(2), which is 4 % of a small read.
  constexpr off_t kSmall = 65536;
  size = lseek(descriptor, 0, SEEK_END);
  if (size > 0 && size <= kSmall) {
    return descriptor;
  }
  struct stat status = {};
  const int kept = keepReadable(descriptor, status);
  size = status.st_size;
  return kept;
}

int openForRewriting(const char *path, struct stat &status, bool &isLink)
{
  const int descriptor = open(path, O_RDONLY | O_NOFOLLOW | kFlags);
  isLink = descriptor < 0 && errno == ELOOP;
  if (!isLink) {
    return keepReadable(descriptor, status);
  }
  const PinnedFile target(path, PinnedFile::Links::follow);
  return target ? keepReadable(target.open(O_RDONLY), status) : -1;
}

int openForAppending(const char *path)
{
  constexpr int kAppend = O_WRONLY | O_APPEND;
  // A second round only if somebody creates the file between the two steps of the first.
  for (int round = 0; round < 2; ++round) {
    const PinnedFile file(path, PinnedFile::Links::follow);
    if (file) {
      if (S_ISFIFO(file.status().st_mode) ||
          (file.isRegular() && mayBeLinkedFromElsewhere(file.path(), file.status()))) {
        return -1;
      }
      file.setMode();
      const int descriptor = file.open(kAppend);
      if (descriptor >= 0) {
        setFileMode(descriptor, file.status());
      }
      return descriptor;
    }
    const int descriptor = errno == ENOENT ? open(file.path(), kAppend | O_CREAT | O_EXCL | kFlags, kNewFileMode) : -1;
    if (descriptor >= 0) {
      (void)fchmod(descriptor, kFileMode);  // fails only on file systems without permissions
      return descriptor;
    }
    if (errno != EEXIST) {
      return -1;
    }
  }
  return -1;
}

bool syncBytes(int descriptor)
{
  return fdatasync(descriptor) == 0 || errno == EINVAL;  // a device has no disk
}

}  // namespace qv
