// Writes down what the calls of a piece of code change in a directory, and builds the states of the disk that a loss of
// power at any point may leave.
//
// The model. Bytes that were written after the last sync of their file are on the disk whole, in part, as zeros, or not
// at all, each write by itself. Names (create, rename, unlink) that changed after the last sync of the directory have
// changed on the disk or not, each by itself and whatever happened to the data. Syncs hold.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace support {

/// One call that changed something, or brought it to the disk.
struct DiskCall {
  enum class Kind { write, truncate, sync, create, rename, unlink, syncDirectory };
  Kind kind;
  uint64_t file = 0;       // a file's number for its life
  size_t offset = 0;       // of a write; the new size of a truncate
  std::string bytes = {};  // of a write
  std::string from = {};   // the name that a rename or unlink takes away
  std::string to = {};     // the one that a create or rename makes
};

/// Names and contents.
struct DiskState {
  std::map<std::string, uint64_t> names;
  std::map<uint64_t, std::string> data;

  /// What a reader finds by name.
  std::map<std::string, std::string> files() const;

  auto operator<=>(const DiskState &) const = default;
};

/// While it lives, the calls of this thread on files of a directory are written down.
class DiskRecord {
 public:
  explicit DiskRecord(std::string directory);
  ~DiskRecord();
  DiskRecord(const DiskRecord &) = delete;
  DiskRecord &operator=(const DiskRecord &) = delete;

  const DiskState &before() const { return before_; }
  const std::vector<DiskCall> &calls() const { return calls_; }

  // What the interposed calls tell, each after the real call has succeeded.
  void opened(int descriptor, const char *path, bool existed, int flags);
  void wrote(int descriptor, const void *bytes, size_t size, off_t offset);
  void truncated(int descriptor, off_t size);
  void synced(int descriptor);
  void renamed(const char *from, const char *to, uint64_t file);
  void unlinked(const char *path, uint64_t file);

  /// The number of the file at a path, 0 if it is none of the directory's.
  uint64_t fileAt(const char *path) const;

 private:
  uint64_t fileOf(int descriptor) const;
  std::string nameOf(const char *path) const;

  std::string directory_;
  uint64_t device_;
  DiskState before_;
  std::vector<DiskCall> calls_;
};

/// The record of this thread, null when there is none.
DiskRecord *currentDiskRecord();

/// Calls `check` with each different state that a loss of power may leave, and with the number of calls that were made
/// before it. Returns the number of states.
size_t forEachStateAfterPowerLoss(const DiskState &before, const std::vector<DiskCall> &calls,
                                  const std::function<void(const DiskState &, size_t made)> &check);

}  // namespace support
