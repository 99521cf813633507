// See lock_table.h.

#include "lock_table.h"

#include <fcntl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>

#include "failure.h"

namespace qvctl {
namespace {

/// The device of a file as the kernel's table names it: that of the mount, which on some file systems is another than
/// the file itself shows.
std::string deviceOf(const std::string &path, const struct stat &file)
{
  unsigned high = major(file.st_dev);
  unsigned low = minor(file.st_dev);
  struct statx extended;
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_MNT_ID, &extended) == 0 &&
      (extended.stx_mask & STATX_MNT_ID) != 0) {
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
      unsigned long long mount = 0;
      unsigned ofMount[2];
      if (sscanf(line.c_str(), "%llu %*u %u:%u", &mount, &ofMount[0], &ofMount[1]) == 3 &&
          mount == extended.stx_mnt_id) {
        high = ofMount[0];
        low = ofMount[1];
      }
    }
  }
  char text[32];
  snprintf(text, sizeof text, "%02x:%02x:", high, low);
  return text;
}

}  // namespace

std::vector<LockEntry> locksOn(const std::string &path, const struct stat &file)
{
  std::ifstream table("/proc/locks");
  if (!table) {
    throw systemFailure("/proc/locks", errno);
  }
  const std::string wanted = deviceOf(path, file) + std::to_string(file.st_ino);
  std::vector<LockEntry> entries;
  // "1: POSIX  ADVISORY  WRITE 412 00:2d:77 120000 120000", with "->" before the kind of one that waits
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, kind, mode, access, where, first, last;
    LockEntry entry;
    fields >> number >> kind;
    if (kind == "->") {
      entry.waiting = true;
      fields >> kind;
    }
    fields >> mode >> access >> entry.process >> where >> first >> last;
    if (!fields || where != wanted || (kind != "POSIX" && kind != "OFDLCK" && kind != "FLOCK")) {
      continue;
    }
    entry.record = kind != "FLOCK";
    entry.first = std::stoull(first);
    entry.last = last == "EOF" ? UINT64_MAX : std::stoull(last);
    // The table is read in pieces and changes meanwhile: what a piece begins with may be in the one before.
    if (std::find(entries.begin(), entries.end(), entry) == entries.end()) {
      entries.push_back(entry);
    }
  }
  return entries;
}

}  // namespace qvctl
