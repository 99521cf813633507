// Makes the n-th call of a function fail, once or for good: the program defines the function around the real one, so
// that the library meets the failure where it would meet it in life. Calls are counted in the thread that armed the
// fault.
#pragma once

#include <cerrno>
#include <cstddef>
#include <functional>

namespace support {

/// The calls that can fail. allocation is malloc, calloc and realloc together; free only runs code.
enum class Call {
  allocation,
  free,
  open,
  fcntl,
  read,
  access,
  close,
  socket,
  semget,
  semop,
  semctl,
  shmget,
  shmat,
  usleep,
  write,
  fdatasync,
  rename,
  unlink,
  chmod,
  mkdir,
  lstat,
  fstat,
  lseek,
  pread,
  pwrite,
  futexWait,
  futexWake,
  count,
};

/// While it lives, the n-th call (the first is 1) fails with an errno, and with forGood every later one. With n = 0
/// nothing fails, and the calls are counted only. With errno 0 a struck semget answers 0. usleep and
/// futexWait do not sleep then: each answers that its time is over. A struck close closes, as the system's does.
class Fault {
 public:
  explicit Fault(Call call, unsigned nth = 0, int error = ENOMEM, bool forGood = false);

  /// Fails nothing, and runs code inside the n-th call, before the call is made.
  Fault(Call call, unsigned nth, std::function<void()> code);
  ~Fault();
  Fault(const Fault &) = delete;
  Fault &operator=(const Fault &) = delete;

  /// How often the call was made since.
  unsigned calls() const;

  /// Whether it was made to fail.
  bool struck() const;

  /// The microseconds that the sleeps would have taken.
  unsigned long slept() const;

 private:
  Call call_;
  std::function<void()> code_;
};

/// Runs a scenario with the first call failing, then with the second, and so on, until a run goes through without
/// meeting the failure. Returns the number of runs that met it. The scenario is given the number of the failing call.
template <class Scenario>
unsigned failEach(Call call, int error, Scenario scenario)
{
  for (unsigned nth = 1;; ++nth) {
    bool struck;
    {
      Fault fault(call, nth, error);
      scenario(nth);
      struck = fault.struck();
    }
    if (!struck) {
      return nth - 1;
    }
  }
}

/// Blocks of the heap that are allocated now, in the whole process.
long liveBlocks();

}  // namespace support
