// The kernel's table of file locks.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qvctl {

struct LockEntry {
  bool record = false;   // a record lock (fcntl), not one on the whole file (flock)
  bool waiting = false;  // wants the lock that another has
  pid_t process = 0;     // 0 or -1 where the holder is in another namespace, or none
  uint64_t first = 0;    // the bytes of a record lock, both included
  uint64_t last = UINT64_MAX;
  bool operator==(const LockEntry &) const = default;
};

/// The locks on a file, in the kernel's order: holders before those who wait for them. Throws a Failure when the kernel
/// does not show them.
std::vector<LockEntry> locksOn(const std::string &path, const struct stat &file);

}  // namespace qvctl
