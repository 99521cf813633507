// A place in a log's text that moves on over what is expected there. The readers of both logs add what their log is made
// of.
#pragma once

#include <cstddef>
#include <string_view>

namespace qvctl {

class LogCursor {
 public:
  LogCursor(std::string_view log, size_t at) : log_(log), at_(at) {}

  size_t at() const { return at_; }

  bool take(std::string_view expected)
  {
    if (log_.compare(at_, expected.size(), expected) != 0) {
      return false;
    }
    at_ += expected.size();
    return true;
  }

 protected:
  std::string_view log_;
  size_t at_;
};

}  // namespace qvctl
