// How a command ends without success: an exception that carries the line for stderr and the exit status.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qvctl {

enum class Exit : int {
  done = 0,
  failed = 1,    // the library answered a status, or the tool itself cannot
  usage = 2,     // the command line cannot be meant
  findings = 3,  // a check found something
};

class Failure : public std::runtime_error {
 public:
  Failure(Exit status, const std::string &line) : std::runtime_error(line), status_(status) {}
  Exit status() const { return status_; }

 private:
  Exit status_;
};

/// "FILE: key not found (263, SM_STATUS_KEY_NOT_FOUND)"
Failure libraryFailure(const std::string &subject, uint32_t status);

/// The same with words that fit the command better.
Failure libraryFailure(const std::string &subject, uint32_t status, const std::string &words);

/// "FILE: reason"
Failure toolFailure(const std::string &subject, const std::string &reason);

/// "FILE: No such file or directory", of an errno
Failure systemFailure(const std::string &subject, int error);

/// What CLI11 cannot know to be wrong.
Failure usageFailure(const std::string &reason);

}  // namespace qvctl
