// Other processes, as /proc shows them to this one.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace qvctl {

/// The arguments joined by spaces; the name in brackets for a process that shows none. Empty when it is not visible.
std::string commandLineOf(pid_t process);

/// Nothing when it is not visible.
std::optional<time_t> startOf(pid_t process);

/// Whether a process of that number exists, of whichever user.
bool isAlive(pid_t process);

/// The processes, this one not counted, that have a file open, as far as this user may see it.
std::vector<pid_t> openersOf(dev_t device, ino_t inode);

/// "2026-11-25T00:36:12", local time
std::string localTime(time_t time);

}  // namespace qvctl
