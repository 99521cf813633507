// Reads on in a log that is being written, across the moves to its backup name.
#pragma once

#include <functional>

#include "event_log.h"

namespace qvctl {

class LogFollower {
 public:
  using Take = std::function<void(const EventLog &)>;

  /// Throws a Failure when the log cannot be opened.
  LogFollower(std::string path, std::string backup);
  ~LogFollower();
  LogFollower(const LogFollower &) = delete;
  LogFollower &operator=(const LogFollower &) = delete;

  /// Takes the whole events since the last look: of the log as it was to its end, and of the one in its place now.
  /// Tells on stderr when there was another one in between, whose events may be missing. Throws a Failure.
  void look(const Take &take);

 private:
  struct File {
    int descriptor = -1;
    uint64_t device = 0;
    uint64_t inode = 0;
    bool operator==(const File &other) const { return device == other.device && inode == other.inode; }
  };

  static File openFile(const std::string &path);
  void readOn(const Take &take);
  void follow(const File &next, const Take &take);
  bool beginsWithWhatWasRead(int descriptor) const;

  std::string path_;
  std::string backupPath_;
  File log_;
  File backup_;  // stays open, so that its number is not given to another file
  std::optional<LogFormat> format_;
  uint64_t place_ = 0;     // in the log, after the last event
  std::string read_;       // what is before that
  uint64_t seenSize_ = 0;  // of the last look
  int64_t seenTime_ = 0;
};

}  // namespace qvctl
