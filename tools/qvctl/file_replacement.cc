// See file_replacement.h.

#include "file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "failure.h"
#include "files.h"

namespace qvctl {
namespace {

/// A descriptor that is closed with the scope, and a file that is removed with it unless it was kept.
class NewFile {
 public:
  /// A file that is to have another name in the end: what fails is told about that.
  NewFile(std::string path, std::string subject, int flags, unsigned mode)
      : path_(std::move(path)),
        subject_(std::move(subject)),
        descriptor_(open(path_.c_str(), flags | O_WRONLY | O_CLOEXEC | O_NOCTTY, mode))
  {
    if (descriptor_ < 0) {
      throw systemFailure(subject_, errno);
    }
    isTemporary_ = (flags & O_EXCL) != 0;
  }

  ~NewFile()
  {
    if (descriptor_ >= 0) {
      (void)::close(descriptor_);  // the command has failed already
    }
    if (isTemporary_) {
      (void)unlink(path_.c_str());  // the same
    }
  }

  NewFile(const NewFile &) = delete;
  NewFile &operator=(const NewFile &) = delete;

  void write(std::string_view bytes)
  {
    while (!bytes.empty()) {
      const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
      if (written >= 0) {
        bytes.remove_prefix(static_cast<size_t>(written));
      } else if (errno != EINTR) {
        throw systemFailure(subject_, errno);
      }
    }
  }

  void setOwner(const struct stat &owner) { (void)!fchown(descriptor_, owner.st_uid, owner.st_gid); }  // root can

  void setMode(unsigned mode)
  {
    if (fchmod(descriptor_, mode) != 0) {
      throw systemFailure(subject_, errno);
    }
  }

  /// Also takes it to the disk, where that is of use.
  void close(bool sync)
  {
    const bool synced = !sync || fsync(descriptor_) == 0;
    const int error = errno;
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (::close(descriptor) != 0 || !synced) {
      throw systemFailure(subject_, synced ? errno : error);
    }
  }

  void keep() { isTemporary_ = false; }

  const std::string &path() const { return path_; }

 private:
  std::string path_;
  std::string subject_;
  int descriptor_;
  bool isTemporary_ = false;
};

/// Where a path leads, if it leads to something.
std::string withoutLinks(const std::string &path)
{
  char *const real = realpath(path.c_str(), nullptr);
  std::string result = real == nullptr ? path : real;
  free(real);
  return result;
}

void syncDirectoryOf(const std::string &path)
{
  const int descriptor = open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0) {
    (void)fsync(descriptor);  // not every file system can; the files are whole either way
    (void)close(descriptor);  // nothing was written through it
  }
}

/// A name beside a file that no other program uses. Left over by one that was killed, it is used again.
std::string nameBeside(const std::string &path, const char *suffix)
{
  std::string name = path + suffix;
  (void)unlink(name.c_str());  // mostly there is none
  return name;
}

void replace(const std::string &path, std::string_view content, unsigned mode, const std::string *nameOfOld)
{
  struct stat old {};
  const bool exists = stat(path.c_str(), &old) == 0;
  NewFile file(nameBeside(path, ".qvctl-new"), path, O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  file.write(content);
  if (exists) {
    file.setOwner(old);
  }
  file.setMode(mode);
  file.close(true);
  if (nameOfOld != nullptr) {
    // A second name first, so that the path is never without a file.
    const std::string second = nameBeside(path, ".qvctl-old");
    const bool moved = link(path.c_str(), second.c_str()) == 0 ? rename(second.c_str(), nameOfOld->c_str()) == 0
                                                               : rename(path.c_str(), nameOfOld->c_str()) == 0;
    const int error = errno;
    (void)unlink(second.c_str());  // is still there where both names were of one file already
    if (!moved) {
      throw systemFailure(path, error);
    }
  }
  if (rename(file.path().c_str(), path.c_str()) != 0) {
    throw systemFailure(path, errno);
  }
  file.keep();
  syncDirectoryOf(path);
}

}  // namespace

void replaceFile(const std::string &path, std::string_view content, unsigned mode)
{
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    NewFile file(path, path, 0, 0);
    file.write(content);
    file.close(false);
    return;
  }
  replace(withoutLinks(path), content, mode, nullptr);
}

void replaceFile(const std::string &path, std::string_view content, unsigned mode, const std::string &nameOfOld)
{
  replace(path, content, mode, &nameOfOld);
}

std::string keepBeside(const std::string &path, const std::string &suffix)
{
  for (unsigned n = 1;; ++n) {
    std::string name = path + "." + suffix + "." + std::to_string(n);
    if (linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      return name;
    }
    if (errno == EEXIST) {
      continue;
    }
    if (exists(name)) {
      continue;
    }
    std::string content;
    if (const int error = readFile(path, content); error != 0) {
      throw systemFailure(path, error);
    }
    NewFile copy(name, name, O_CREAT | O_EXCL, 0600);
    copy.write(content);
    copy.close(true);
    copy.keep();
    return name;
  }
}

}  // namespace qvctl
