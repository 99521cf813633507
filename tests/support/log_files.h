// What the tests of the logs share: a clock that stands still, a scratch directory, failing calls between two looks.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "support/faults.h"
#include "support/scratch.h"

namespace support {

/// What time(2) answers in this program; 0 for the real time.
inline int64_t fixedTime = 0;

constexpr int64_t kAfter2038 = 4102444800;  // Fri Jan  1 00:00:00 2100 UTC

/// A directory that is there while the object lives.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(std::filesystem::path path) : path_(std::move(path))
  {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  ScratchDirectory(const ScratchDirectory &) = delete;
  ScratchDirectory &operator=(const ScratchDirectory &) = delete;

  std::string file(const char *name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// Runs a call with its first call of a function failing, then with the second, and so on, until one goes through
/// without meeting the failure. Looks at the state before and after each, when nothing fails. Returns the number of runs
/// that met it.
template <class Before, class Action, class After>
unsigned failEachBetween(Call call, Before before, Action action, After after)
{
  for (unsigned nth = 1;; ++nth) {
    before();
    uint32_t status;
    bool struck;
    {
      Fault fault(call, nth, EIO);
      status = action();
      struck = fault.struck();
    }
    after(status);
    if (!struck) {
      return nth - 1;
    }
  }
}

/// How often a text occurs in another.
inline size_t count(const std::string &text, const std::string &piece)
{
  size_t found = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + piece.size())) {
    ++found;
  }
  return found;
}

}  // namespace support
