// The scoped guard of every operation on a shared file: two locks that make one.
//
// The record lock of the process (FileLock) excludes other processes and knows nothing of threads: a second thread
// would obtain it at once, and its release would free it under the first. So the guard goes through a gate of the
// process first and leaves it last. Lock order: gate, then record lock; a holder takes no other lock of the library and
// calls nothing of the caller's.
#pragma once

#include <cstdint>

namespace qv {

class [[nodiscard]] FileGuard {
 public:
  /// Mode 1 waits as FileLock does, for the gate and the record lock together; any other mode tries each once.
  explicit FileGuard(uint16_t mode);
  ~FileGuard();
  FileGuard(const FileGuard &) = delete;
  FileGuard &operator=(const FileGuard &) = delete;

  /// False when the lock was not obtained: nothing is held then.
  explicit operator bool() const { return held_; }

 private:
  bool held_;
};

}  // namespace qv
