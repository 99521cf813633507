// See rewrite.h.

#include "store/rewrite.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace qv {
namespace {

int createNew(const char *path)
{
  return open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode);
}

/// Opens what is at the temporary path for new content. A link and a second name of somebody's file make way for a new
/// file; a file of one name is truncated; a device is written to. -1 for the original itself.
int reuse(const char *path, const struct stat &original, bool &isRegular)
{
  const PinnedFile found(path, PinnedFile::Links::keep);
  if (!found) {
    return -1;
  }
  if (found.isLink() || (found.isRegular() && found.status().st_nlink > 1)) {
    isRegular = true;
    return unlink(path) == 0 ? createNew(path) : -1;
  }
  isRegular = found.isRegular();
  return isSameFile(found.status(), original) ? -1 : found.open(O_WRONLY | O_TRUNC);
}

/// Where rename(2) does what removing the destination first would do. It does more otherwise: two names of one file are
/// left with success, a missing destination is created, and a directory takes the place of an empty one.
bool isReplacedByRename(const char *destination, const char *source)
{
  struct stat replaced;
  struct stat replacing;
  return lstat(destination, &replaced) == 0 && !S_ISDIR(replaced.st_mode) && lstat(source, &replacing) == 0 &&
         !isSameFile(replaced, replacing);
}

}  // namespace

bool exchangeInOneStep(const char *destination, const char *source)
{
  return isReplacedByRename(destination, source) && rename(source, destination) == 0;
}

Status exchange(const char *destination, const char *source)
{
  if (exchangeInOneStep(destination, source)) {
    return Status::success;
  }
  if (unlink(destination) != 0) {
    return Status::fileReplaceFailed;
  }
  return rename(source, destination) == 0 ? Status::success : Status::alreadyExists;
}

Rewrite::Rewrite(const char *path, const char *temporaryPath, Original original)
    : path_(path), temporaryPath_(temporaryPath)
{
  if (original == Original::exists) {
    original_.reset(openForRewriting(path, status_, isLink_));
    if (!original_) {
      return;
    }
    lines_.emplace(original_.get(), status_.st_size, LineReader::End::ofFile);
  }
  openTemporary(original);
}

void Rewrite::openTemporary(Original original)
{
  bool isRegular = true;
  temporary_.reset(createNew(temporaryPath_));
  if (!temporary_ && errno == EEXIST && original == Original::exists) {
    temporary_.reset(reuse(temporaryPath_, status_, isRegular));
  }
  if (temporary_) {
    hasRegularTemporary_ = isRegular;
    output_.emplace(temporary_.get());
  }
}

/// Brings the new content to the disk.
bool Rewrite::finish()
{
  if (!output_->flush()) {
    return false;
  }
  if (hasRegularTemporary_) {
    (void)fchmod(temporary_.get(), kFileMode);  // fails only on file systems without permissions
  }
  const bool synced = syncBytes(temporary_.get());
  return temporary_.closeWritten() && synced;
}

/// Others may go on to use the old content by a second name, whose permissions are those of a settings file too.
void Rewrite::setModeOfOriginal() const
{
  if (!mayBeLinkedFromElsewhere(path_, status_)) {
    setFileMode(original_.get(), status_);
  }
}

Status Rewrite::commit()
{
  if (!finish()) {
    return Status::limitExceeded;
  }
  setModeOfOriginal();
  // A device holds no copy that could take the original's place.
  return hasRegularTemporary_ ? exchange(path_, temporaryPath_) : Status::alreadyExists;
}

bool Rewrite::commitInOneStep()
{
  if (!finish() || !hasRegularTemporary_) {
    return false;
  }
  if (!original_) {
    return renameat2(AT_FDCWD, temporaryPath_, AT_FDCWD, path_, RENAME_NOREPLACE) == 0;
  }
  setModeOfOriginal();
  return exchangeInOneStep(path_, temporaryPath_);
}

void Rewrite::discard()
{
  if (hasRegularTemporary_) {
    (void)unlink(temporaryPath_);  // one that stays is truncated by the next rewrite
  }
}

}  // namespace qv
