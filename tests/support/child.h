// A forked child process that runs a piece of code, can be held at a point of it, and reports back. No sleeps: both
// sides wait for each other on pipes.
#pragma once

#include <sys/types.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace support {

class Child {
 public:
  /// The child's end.
  class Inside {
   public:
    /// Tells the parent that this point is reached, and goes on when the parent says so.
    void hold();

    /// Adds a line to what the parent reads with report(). printf-like.
    [[gnu::format(printf, 2, 3)]] void report(const char *format, ...);

    /// Adds a line of numbers. Unlike arguments, they are evaluated in their order.
    void report(std::initializer_list<long long> numbers);

    /// Goes on as another program with arguments, whose input and output are these pipes: what it prints is reported, and
    /// it is held when it prints kHeld, until it can read a byte.
    [[noreturn]] void become(std::vector<std::string> command);
    static constexpr char kHeld = '\1';

   private:
    friend class Child;
    int toParent_ = -1;
    int fromParent_ = -1;
  };

  /// Starts a child that runs the code and ends with status 0 without running exit handlers.
  explicit Child(const std::function<void(Inside &)> &code);

  /// Kills the child if it still runs.
  ~Child();
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  /// Waits until the child is held. False when it ended instead.
  bool waitHeld();

  /// Lets a held child go on.
  void release();

  /// Sends a signal.
  void signal(int number) const;

  /// Waits for the end of the child: its exit status, or 128 plus the number of the signal that ended it.
  int wait();

  /// Waits for the end of the child and returns the lines that it reported. A child that did not end with status 0
  /// reports that in a last line.
  std::string report();

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
  int fromChild_;
  int toChild_;
  int status_ = -1;
  std::string reported_;
};

}  // namespace support
