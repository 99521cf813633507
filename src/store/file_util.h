// Files as the stores and the logs handle them: permissions, directories, opening without waiting and without being led
// to somebody else's file, and bringing bytes to the disk.
//
// The directory of a file may belong to others, who put links in the file's place and exchange them during a call.
// So what is written is opened once, looked at through its descriptor, and changed through that descriptor only.
#pragma once

#include <sys/stat.h>

#include <climits>
#include <cstddef>
#include <string_view>

#include "base/descriptor.h"
#include "base/input_output.h"
#include "base/status.h"

namespace qv {

constexpr mode_t kFileMode = 0664;
constexpr mode_t kNewFileMode = 0666;  // less the umask, as fopen(3) creates files

/// Gives the file at a path kFileMode, following links. A chmod that fails is no failure.
void setFileMode(const char *path);

/// Gives an open file kFileMode if it is a regular file: devices keep their permissions.
void setFileMode(int descriptor, const struct stat &status);

/// A path in a buffer of its own. Empty if it would be longer than any path that the system takes; opening it then
/// fails like opening any other impossible path.
struct PathBuffer {
  char text[PATH_MAX];
};

/// The directory of a file: the path up to its last "/", and "." if there is none or only a leading one.
std::string_view directoryOf(const char *path);

/// Composes the path of a name in the directory of another file.
void makeSiblingPath(const char *path, const char *name, PathBuffer &sibling);

Status createDirectory(const char *path);

/// Creates the directory of a file if its path names one, the last component only.
Status createDirectoryOf(const char *path);

/// Whether a file has several names and others could have made this one, for a file elsewhere.
bool mayBeLinkedFromElsewhere(const char *path, const struct stat &status);

inline bool isSameFile(const struct stat &one, const struct stat &other)
{
  return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

/// What is at a path, pinned without being opened: what is put there later is not mistaken for it.
class PinnedFile {
 public:
  enum class Links {
    keep,   // pins the link itself
    follow  // pins its target, unless others could have put the link there
  };
  PinnedFile(const char *path, Links links);

  explicit operator bool() const { return bool(pin_); }
  bool isLink() const { return S_ISLNK(status_.st_mode); }
  bool isRegular() const { return S_ISREG(status_.st_mode); }
  const struct stat &status() const { return status_; }

  /// The path without the links that were followed.
  const char *path() const { return path_.text; }

  /// Opens exactly this file, without waiting. -1 if that fails.
  int open(int flags) const;

  /// Gives it kFileMode if it is a regular file, unless it may be linked from elsewhere.
  void setMode() const;

 private:
  bool pin();
  bool follow();

  PathBuffer path_;
  UniqueFd pin_;
  struct stat status_ = {};
};

/// Opens a settings file for reading without waiting, and stores its size; the position is not at its start. -1 for
/// anything but a regular file, a directory (reading it is a read error) and /dev/null: a pipe or another device may
/// have no end.
int openForReading(const char *path, off_t &size);

/// The same for a file that is going to be rewritten: a link is followed only if others could not have put it there.
/// `isLink` says whether one was.
int openForRewriting(const char *path, struct stat &status, bool &isLink);

/// Opens a file for appending and gives it kFileMode, before it is opened and afterwards; creates it if it is missing.
/// -1 also for a pipe or a socket, and for a link or a file of several names that others could have put there.
int openForAppending(const char *path);

inline bool writeAll(int descriptor, std::string_view bytes)
{
  return writeAll(descriptor, bytes.data(), bytes.size());
}

/// Brings a file's bytes to the disk. False if that fails.
bool syncBytes(int descriptor);

}  // namespace qv
