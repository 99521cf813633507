// The owner of a descriptor that is only read from: closed by scope, whatever close reports.
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
      (void)close(descriptor_);  // nothing was written through it
      errno = kept;
    }
  }

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace qv
