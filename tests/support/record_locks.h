// The record locks of the IPC file as the rest of the machine meets them: made and looked at without the library.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "support/child.h"

namespace support {

/// The IPC file where the machine has no shared directory.
constexpr char kIpcFile[] = "/etc/tallowmere/vela/.velaipc";

/// The record of the file lock.
constexpr uint32_t kFileLockRecord = 120000;

/// The POSIX record locks of a process, on whatever file, in the kernel's words and one a line: "WRITE 5 5" for a lock
/// on byte 5, "-> WRITE 5 5" for one that the process waits for.
std::string recordLocks(pid_t process);

/// Returns when the process waits for a record lock.
void waitUntilBlocked(pid_t process);

/// Another process that holds one record of the IPC file, until it is let go or this goes out of scope.
class RecordHolder {
 public:
  explicit RecordHolder(uint32_t record);
  void letGo();
  void kill();

 private:
  Child child_;
};

}  // namespace support
