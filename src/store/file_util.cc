// See file_util.h; and the file functions that callers use themselves.

#include "store/file_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/alias.h"
#include "base/descriptor.h"
#include "qvsupt32/store.h"

namespace qv {
namespace {

constexpr mode_t kDirectoryMode = 0755;

/// Keeps an opened file of a wanted kind, and closes any other.
template <class IsWanted>
int keepIf(int descriptor, struct stat &status, IsWanted isWanted)
{
  if (descriptor < 0 || (fstat(descriptor, &status) == 0 && isWanted(status.st_mode))) {
    return descriptor;
  }
  (void)close(descriptor);  // nothing was written through it
  return -1;
}

/// The place of the "/" before the last component; null when the path names no directory.
const char *endOfDirectory(const char *path)
{
  const char *last = strrchr(path, '/');
  return last == path ? nullptr : last;
}

Status createDirectory(const char *path)
{
  if (mkdir(path, kDirectoryMode) == 0 || errno == EEXIST || access(path, F_OK) == 0) {
    return Status::success;
  }
  return Status::unsuccessful;
}

Status removeDirectory(const char *path)
{
  if (rmdir(path) == 0) {
    return Status::success;
  }
  switch (errno) {
    case ENOTEMPTY:
    case EEXIST:
      return Status::badType;
    case ENOENT:
      return Status::notFound;
    default:
      return Status::unsuccessful;
  }
}

bool isRegular(const char *path, struct stat &status)
{
  return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

bool isSameFile(const struct stat &one, const struct stat &other)
{
  return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

bool isOnlyName(const char *path, int descriptor)
{
  struct stat named;
  struct stat opened;
  return descriptor >= 0 && lstat(path, &named) == 0 && fstat(descriptor, &opened) == 0 && isSameFile(named, opened) &&
         opened.st_nlink == 1;
}

/// One rename replaces a file without a moment in which it is missing. Not so for two names of one file, where rename
/// does nothing, nor for anything that is no regular file.
bool replaceInOneStep(const char *destination, const char *source)
{
  struct stat old;
  struct stat next;
  return isRegular(destination, old) && isRegular(source, next) && !isSameFile(old, next) &&
         rename(source, destination) == 0;
}

Status replaceStepByStep(const char *destination, const char *source)
{
  if (unlink(destination) != 0) {
    return Status::fileReplaceFailed;
  }
  return rename(source, destination) == 0 ? Status::success : Status::alreadyExists;
}

Status replace(const char *destination, const char *source)
{
  setFileMode(destination);
  if (!replaceInOneStep(destination, source)) {
    const Status status = replaceStepByStep(destination, source);
    if (status != Status::success) {
      return status;
    }
  }
  setFileMode(destination);
  return Status::success;
}

Status sizeOf(const char *path, uint32_t &size)
{
  const UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  const off_t end = file ? lseek(file.get(), 0, SEEK_END) : -1;
  if (end < 0 || end > INT32_MAX) {
    return Status::unsuccessful;
  }
  size = static_cast<uint32_t>(end);
  return Status::success;
}

constexpr uint32_t kNameSize = 20;
static_assert(L_tmpnam <= kNameSize);

Status makeTemporaryName(char *name, uint32_t *size)
{
  char made[kNameSize];
  if (tmpnam_r(made) == nullptr) {
    return Status::alreadyExists;
  }
  *size = static_cast<uint32_t>(strlen(made)) + 1;
  memcpy(name, made, *size);
  return Status::success;
}

Status makeTemporaryNameIn(const char *directory, char *name, uint32_t *size)
{
  if (*size < kNameSize) {
    *size = kNameSize;
    return Status::bufferTooSmall;
  }
  char working[256];
  if (getcwd(working, sizeof(working)) == nullptr) {
    return Status::bufferTooSmall;
  }
  if (chdir(directory) != 0) {
    return Status::notFound;
  }
  const Status status = makeTemporaryName(name, size);
  return chdir(working) == 0 ? status : Status::chdirFailed;
}

}  // namespace

void setFileMode(const char *path)
{
  (void)chmod(path, kFileMode);  // the file may be missing, or be somebody else's
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

int openForReading(const char *path, off_t &size)
{
  struct stat status = {};
  const int descriptor = keepIf(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC), status,
                                [](mode_t mode) { return S_ISREG(mode) || S_ISDIR(mode); });
  size = status.st_size;
  return descriptor;
}

int createTemporary(const char *path, int original)
{
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int descriptor = open(path, kFlags, kNewFileMode);
  if (descriptor >= 0 || errno != EEXIST || isOnlyName(path, original) || unlink(path) != 0) {
    return descriptor;
  }
  return open(path, kFlags, kNewFileMode);
}

Status takePlaceOfOriginal(const char *destination, const char *source)
{
  setFileMode(source);
  if (rename(source, destination) == 0) {
    return Status::success;
  }
  setFileMode(destination);
  return replaceStepByStep(destination, source);
}

bool takePlace(const char *destination, const char *source)
{
  struct stat old;
  if (!isRegular(destination, old) || old.st_nlink != 1) {
    return false;
  }
  setFileMode(source);
  return rename(source, destination) == 0;
}

bool takeEmptyPlace(const char *destination, const char *source)
{
  setFileMode(source);
  return renameat2(AT_FDCWD, source, AT_FDCWD, destination, RENAME_NOREPLACE) == 0;
}

int openForAppending(const char *path)
{
  struct stat status;
  return keepIf(open(path, O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kNewFileMode), status,
                [](mode_t mode) { return !S_ISFIFO(mode); });
}

bool writeAll(int descriptor, std::string_view bytes)
{
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written > 0) {
      bytes.remove_prefix(static_cast<size_t>(written));
    } else if (written == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool syncAndClose(int descriptor)
{
  const bool synced = fdatasync(descriptor) == 0 || errno == EINVAL;  // a device has no disk to go to
  return close(descriptor) == 0 && synced;
}

}  // namespace qv

using qv::Status;

uint32_t CreateDir(const char *path)
{
  return result(qv::createDirectory(path));
}

QV_ALIAS(SMMkDir, CreateDir)

uint32_t DelDir(const char *path)
{
  return result(qv::removeDirectory(path));
}

QV_ALIAS(SMRmDir, DelDir)

int32_t GetStreamFileSize(FILE *stream)
{
  const off_t position = ftello(stream);
  if (position < 0 || fseeko(stream, 0, SEEK_END) != 0) {
    return signedResult(Status::unsuccessful);
  }
  const off_t end = ftello(stream);
  if (fseeko(stream, position, SEEK_SET) != 0 || end < 0 || end > INT32_MAX) {
    return signedResult(Status::unsuccessful);
  }
  return static_cast<int32_t>(end);
}

uint32_t GetSizeOfFile(const char *path, uint32_t *size)
{
  *size = 0;
  return result(qv::sizeOf(path, *size));
}

QV_ALIAS(SMGetSizeOfFile, GetSizeOfFile)

uint32_t DelFile(const char *path)
{
  qv::setFileMode(path);
  return result(unlink(path) == 0 ? Status::success : Status::unsuccessful);
}

QV_ALIAS(SMDeleteFile, DelFile)

uint32_t ReplaceFile(const char *destination, const char *source)
{
  return result(qv::replace(destination, source));
}

uint32_t GetTmpFile(const char *directory, char *name, uint32_t *size)
{
  return result(qv::makeTemporaryNameIn(directory, name, size));
}

QV_ALIAS(SMGetTmpFile, GetTmpFile)
