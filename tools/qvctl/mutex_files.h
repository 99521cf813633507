// The lock files of named mutexes.
#pragma once

#include <string>
#include <vector>

namespace qvctl {

inline constexpr char kMutexDirectory[] = "/etc/tallowmere/vela";

/// Where a mutex of that name has its lock file. Empty for a name that would leave the directory.
std::string mutexPath(const std::string &name);

/// Whether the lock file of that name would be the library's own: a mutex called so is the file lock's file.
bool isLockFileName(const std::string &name);

/// The names of the mutexes that have a lock file: empty regular files whose name begins with a dot. The library's own
/// lock files are no mutexes.
std::vector<std::string> mutexNames();

}  // namespace qvctl
