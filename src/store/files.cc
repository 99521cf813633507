// The file functions that callers use themselves: directories, sizes, removal, replacement, temporary names.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/alias.h"
#include "base/descriptor.h"
#include "base/status.h"
#include "qvsupt32/store.h"
#include "store/file_util.h"
#include "store/rewrite.h"

namespace {

using qv::Status;

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

Status sizeOf(const char *path, uint32_t &size)
{
  const qv::UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  const off_t end = file ? lseek(file.get(), 0, SEEK_END) : -1;
  if (end < 0 || end > INT32_MAX) {
    return Status::unsuccessful;
  }
  size = static_cast<uint32_t>(end);
  return Status::success;
}

/// Sets the mode of a file that is about to lose its name, or just got it. The target of a link keeps its own: it is
/// not the file that is removed or replaced.
void setModeOf(const char *path)
{
  const qv::PinnedFile file(path, qv::PinnedFile::Links::keep);
  if (file) {
    file.setMode();
  }
}

Status deleteFile(const char *path)
{
  setModeOf(path);
  return unlink(path) == 0 ? Status::success : Status::unsuccessful;
}

Status replaceFile(const char *destination, const char *source)
{
  setModeOf(destination);
  const Status status = qv::exchange(destination, source);
  if (status == Status::success) {
    setModeOf(destination);
  }
  return status;
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

uint32_t CreateDir(const char *path)
{
  return result(qv::createDirectory(path));
}

QV_ALIAS(SMMkDir, CreateDir)

uint32_t DelDir(const char *path)
{
  return result(removeDirectory(path));
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
  return result(sizeOf(path, *size));
}

QV_ALIAS(SMGetSizeOfFile, GetSizeOfFile)

uint32_t DelFile(const char *path)
{
  return result(deleteFile(path));
}

QV_ALIAS(SMDeleteFile, DelFile)

uint32_t ReplaceFile(const char *destination, const char *source)
{
  return result(replaceFile(destination, source));
}

uint32_t GetTmpFile(const char *directory, char *name, uint32_t *size)
{
  return result(makeTemporaryNameIn(directory, name, size));
}

QV_ALIAS(SMGetTmpFile, GetTmpFile)
