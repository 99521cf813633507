// The scoped guard of every operation on a shared file.
//
// It takes two locks, always in this order:
//   1. the gate, which excludes the other threads of this process;
//   2. the record lock (FileLock), which excludes other processes.
// A record lock belongs to the process: a second thread would obtain it at once, and its release would free it under
// the first. So the gate comes first, and is left only after the record is released: a thread let in before that would
// lose its record to our release. The gate knows whether its insider still waits for the record (base/process_gate.h).
// While both are held nothing of the caller's is called, and the only other locks taken are the C library's own and
// the gate of the system log (log/system_log) or of the IPC file (os/ipc/ipc_file), whose holders take no lock here.
#pragma once

#include <cstdint>

namespace qv {

class [[nodiscard]] FileGuard {
 public:
  /// Mode 1 (SM_LOCK_WAIT) waits as FileLock does, for gate and record together. Any other mode waits for threads of
  /// this process while they work, and not for another process, neither itself nor at the gate with one that does.
  explicit FileGuard(uint16_t mode);
  ~FileGuard();
  FileGuard(const FileGuard &) = delete;
  FileGuard &operator=(const FileGuard &) = delete;

  /// False if the lock was not obtained: nothing is held then.
  explicit operator bool() const { return held_; }

 private:
  bool held_;
};

/// For a child after a fork: no thread of its own holds a guard.
void clearFileGate();

}  // namespace qv
