// The global file lock, taken by the program itself: before the library is loaded, whose attach waits for it without
// limit, and around the program's own work on shared files.
//
// The lock is a record lock of the process, and closing any descriptor of the lock file drops it: the file is opened
// once and stays open until the program ends.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace qvctl {

/// Where the library keeps its record locks.
std::string lockFilePath();

/// The number that the site adds to every record number, 100000 unless "/etc/vela.conf" says otherwise.
uint32_t ipcNameBase();

/// The byte of the lock file that is the global file lock.
off_t fileLockRecord();

class FileLock {
 public:
  /// From the first take on, waits add up to this and no more.
  void setWait(std::chrono::milliseconds wait) { wait_ = wait; }

  /// Takes the lock, trying at least once and then until the wait is over. Taking it again after a call into the
  /// library, which released it, succeeds at once unless another process took it first. Throws a Failure (11) about the subject.
  void take(const std::string &subject);

  /// Tries once. Returns 0 when the lock is held now, EAGAIN when another process has it, or the errno of the lock file.
  int tryTake();

  void release();

 private:
  int openFile();

  std::chrono::milliseconds wait_ = std::chrono::minutes(1);
  std::chrono::steady_clock::time_point deadline_{};
  int descriptor_ = -1;
};

}  // namespace qvctl
