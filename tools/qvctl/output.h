// Standard output and standard error. Results are buffered and written in large pieces; a write that fails ends the
// command with a Failure, so that no caller takes half a listing for a whole one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qvctl {

class Output {
 public:
  void write(std::string_view bytes);

  void line(std::string_view bytes)
  {
    write(bytes);
    write("\n");
  }

  /// Writes what is buffered. Throws a Failure when that fails.
  void flush();

  /// Gives up what is buffered: a command that failed prints no part of its result after its message.
  void discard() { buffer_.clear(); }

  static bool toTerminal();

  /// Colours are for terminals, and not for those who set NO_COLOR.
  static bool colours();

 private:
  std::string buffer_;
};

/// Writes "qvctl: LINE" to stderr, in one write. Control characters in it are shown as escapes, so that a file's name
/// or a log's text cannot pass for another message.
void complain(std::string_view line);

/// One line of progress on stderr where that is a terminal: drawn over by the next one, wiped by the destructor.
class Progress {
 public:
  explicit Progress(std::string_view label);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  /// Redraws at most ten times a second.
  void show(uint64_t done, uint64_t total);

 private:
  std::string label_;
  bool shown_ = false;
  int64_t lastTick_ = 0;
  bool terminal_;
};

/// Text with its control characters as "\n", "\x1b" and so on. Backslashes stay single: this is for people, who want
/// to recognise a path; JSON is for programs.
std::string showControls(std::string_view text);

}  // namespace qvctl
