// Where formatted output goes: what fits is stored, the rest is counted.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/text.h"

namespace qv::format {

/// The largest size that counts: it leaves the largest signed 32-bit number of bytes before the terminator.
constexpr uint32_t kSizeMax = 0x80000000;

/// Padding is stored in runs of these.
constexpr size_t kRunSize = 16;
inline constexpr char kSpaces[kRunSize + 1] = "                ";
inline constexpr char kZeros[kRunSize + 1] = "0000000000000000";

/// Without a buffer as much counts as stored as would fit into one of that size.
class Sink {
 public:
  Sink(char *buffer, uint32_t size)
      : usable_(size >= 1 && size <= kSizeMax), buffer_(usable_ ? buffer : nullptr), limit_(usable_ ? size - 1 : 0)
  {
  }

  void put(std::string_view text)
  {
    if (text.empty()) {
      return;
    }
    const size_t fitting = claim(text.size());
    if (buffer_ != nullptr) {
      copyShort(buffer_ + stored_, text.data(), fitting);
    }
    stored_ += fitting;
  }

  /// A number of spaces or zeros.
  void pad(const char (&run)[kRunSize + 1], size_t count)
  {
    if (count == 0) {
      return;
    }
    size_t fitting = claim(count);
    if (buffer_ == nullptr) {
      stored_ += fitting;
      return;
    }
    for (; fitting > kRunSize; fitting -= kRunSize, stored_ += kRunSize) {
      memcpy(buffer_ + stored_, run, kRunSize);
    }
    copyShort(buffer_ + stored_, run, fitting);
    stored_ += fitting;
  }

  /// Where the next bytes go if so many can be stored, else null. What is written there is then added.
  char *place(size_t size) const
  {
    return size <= limit_ - stored_ && buffer_ != nullptr ? buffer_ + stored_ : nullptr;
  }
  void add(size_t size) { stored_ += size; }

  /// Counts bytes that a field is said to have and that are not printed.
  void countUnprinted(size_t size) { unprinted_ += size; }

  /// The bytes produced so far, those included for which there was no room.
  uint32_t produced() const { return static_cast<uint32_t>(std::min(stored_ + dropped_ + unprinted_, kProducedMax)); }

  /// Terminates the output. Returns the number of bytes stored.
  uint32_t finish(uint32_t *truncated)
  {
    if (buffer_ != nullptr) {
      buffer_[stored_] = '\0';
    }
    if (truncated != nullptr) {
      *truncated = dropped_ != 0 && usable_ ? 1 : 0;
    }
    return static_cast<uint32_t>(stored_);
  }

 private:
  /// How much of a piece of output there is room for. The rest is counted.
  size_t claim(size_t size)
  {
    const size_t room = limit_ - stored_;
    if (size <= room) {
      return size;
    }
    dropped_ += std::min(size - room, kProducedMax - dropped_);
    return room;
  }

  static constexpr size_t kProducedMax = INT32_MAX;

  bool usable_;   // the size is one that the room is counted by
  char *buffer_;  // null as well where it is not
  size_t limit_;
  size_t stored_ = 0;
  size_t dropped_ = 0;    // at most kProducedMax
  size_t unprinted_ = 0;  // at most one for each directive
};

}  // namespace qv::format
