// The owner of a descriptor: closed by scope, whatever close reports, or before that by who wants to know.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace qv {

class UniqueFd {
 public:
  explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
  UniqueFd(const UniqueFd &) = delete;
  UniqueFd &operator=(const UniqueFd &) = delete;

  ~UniqueFd() { reset(-1); }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }

  /// Hands the descriptor over to the caller.
  int release() { return std::exchange(descriptor_, -1); }

  /// Owns another descriptor from now on. errno is kept.
  void reset(int descriptor)
  {
    if (descriptor_ >= 0) {
      const int kept = errno;
      (void)close(descriptor_);  // best effort; who wants the result calls closeWritten()
      errno = kept;
    }
    descriptor_ = descriptor;
  }

  /// Closes what was written to, and says whether all of it went through.
  bool closeWritten() { return close(release()) == 0; }

 private:
  int descriptor_;
};

}  // namespace qv
