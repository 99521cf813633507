#include "support/record_locks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace support {

std::string recordLocks(pid_t process)
{
  std::ifstream table("/proc/locks");
  std::string locks;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, kind, advisory, access, holder, file, first, last;
    fields >> number >> kind;
    const std::string arrow = kind == "->" ? "-> " : "";
    if (!arrow.empty()) {
      fields >> kind;
    }
    fields >> advisory >> access >> holder >> file >> first >> last;
    if (kind == "POSIX" && holder == std::to_string(process)) {
      // The table is read in pieces and changes meanwhile: a line may come twice.
      const std::string lock = arrow + access + " " + first + " " + last + "\n";
      if (locks.find(lock) == std::string::npos) {
        locks += lock;
      }
    }
  }
  return locks;
}

void waitUntilBlocked(pid_t process)
{
  while (recordLocks(process).find("->") == std::string::npos) {
    sched_yield();
  }
}

RecordHolder::RecordHolder(uint32_t record)
    : child_([record](Child::Inside &inside) {
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = record;
        lock.l_len = 1;
        if (fcntl(open(kIpcFile, O_RDWR | O_CREAT, 0600), F_SETLK, &lock) == 0) {
          inside.hold();
        }
      })
{
  EXPECT_TRUE(child_.waitHeld()) << "record " << record << " is not free";
}

void RecordHolder::letGo()
{
  child_.release();
  child_.wait();
}

void RecordHolder::kill()
{
  child_.signal(SIGKILL);
  child_.wait();
}

}  // namespace support
