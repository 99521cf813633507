// The owner of a descriptor: closed by scope, whatever close reports, or before that by who wants to know.
#pragma once

#include <unistd.h>

#include <cerrno>

namespace qv {

class UniqueFd {
 public:
  explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
  UniqueFd(const UniqueFd &) = delete;
  UniqueFd &operator=(const UniqueFd &) = delete;

  ~UniqueFd()
  {
    if (descriptor_ >= 0) {
      const int kept = errno;
      (void)close(descriptor_);  // nobody asked
      errno = kept;
    }
  }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }

  /// Closes what was written to, and says whether all of it went through.
  bool closeWritten()
  {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return close(descriptor) == 0;
  }

 private:
  int descriptor_;
};

}  // namespace qv
