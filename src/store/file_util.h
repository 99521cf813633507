// Files as the stores and the logs handle them: which permissions they get, which directory they lie in, how one is
// opened so that nothing odd at its path can hold the caller up, and how bytes reach the disk.
#pragma once

#include <sys/types.h>

#include <climits>
#include <cstddef>
#include <string_view>

#include "base/status.h"

namespace qv {

constexpr mode_t kFileMode = 0664;
constexpr mode_t kNewFileMode = 0666;  // less the umask, as fopen(3) creates files

/// Gives a file kFileMode, as every opening, replacement and removal does. A chmod that fails is no failure.
void setFileMode(const char *path);

/// A path in a buffer of its own. Empty when it would be longer than any path that the system takes; opening it fails
/// then like opening any other impossible path.
struct PathBuffer {
  char text[PATH_MAX];
};

/// The directory of a file: what stands before the last "/", and "." when there is none or only a leading one.
std::string_view directoryOf(const char *path);

/// Makes a path of a name in the directory of another file.
void makeSiblingPath(const char *path, const char *name, PathBuffer &sibling);

/// Creates the directory of a file where its path names one, the last component only.
Status createDirectoryOf(const char *path);

/// Opens a file for reading without waiting for anything, and tells its size. -1 for what is neither a regular file nor
/// a directory: a pipe or a device may have no end. (Reading a directory is a read error.)
int openForReading(const char *path, off_t &size);

/// Opens a new file for writing. What stands at the path is removed first, so that neither a symbolic link nor a second
/// name for somebody else's file is written through. -1 where that is the only name of the original, an open file: it
/// must not be lost.
int createTemporary(const char *path, int original = -1);

/// Puts a new file in the place of the one that it was made from: ReplaceFile with one rename where that can be.
Status takePlaceOfOriginal(const char *destination, const char *source);

/// Puts a new file in the place of a regular file that has this name only, by one rename. False, with nothing done to
/// it, where anything else stands at the destination, and when the rename fails.
bool takePlace(const char *destination, const char *source);

/// Puts a new file where there is nothing, by one rename. False where there is something, and when that fails.
bool takeEmptyPlace(const char *destination, const char *source);

/// Opens a file for reading and appending, and creates it when it is missing. -1 also for a pipe or a socket.
int openForAppending(const char *path);

/// Writes all bytes. False when some of them could not be written.
bool writeAll(int descriptor, std::string_view bytes);

/// Brings a file's bytes to the disk and closes it. False when either fails.
bool syncAndClose(int descriptor);

}  // namespace qv
