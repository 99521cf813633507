// A thread of which others can tell that it sleeps, so that no test has to guess how long it needs to come there.
#pragma once

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

namespace support {

class ObservedThread {
 public:
  template <class Code>
  explicit ObservedThread(Code code)
      : thread_([this, code] {
          id_ = gettid();
          code();
          isOver_ = true;
        })
  {
  }
  ~ObservedThread() { thread_.join(); }
  ObservedThread(const ObservedThread &) = delete;
  ObservedThread &operator=(const ObservedThread &) = delete;

  /// Returns when the thread sleeps in a system call, or is over.
  void waitUntilAsleep() const
  {
    while (!isOver_ && !(id_ != 0 && state() == 'S')) {
      sched_yield();
    }
  }

 private:
  char state() const
  {
    std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const size_t name = line.rfind(") ");  // a name may hold anything
    return name == std::string::npos ? '?' : line[name + 2];
  }

  std::atomic<pid_t> id_{0};
  std::atomic<bool> isOver_{false};
  std::thread thread_;
};

}  // namespace support
