// Buffers for fuzz targets: of exactly their size in the heap, so that one byte read or written past them is found, and
// filled with a pattern, so that what is written where nothing should be is found as well.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

namespace fuzz {

inline void require(bool holds, const char *what)
{
  if (!holds) {
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
  }
}

/// A buffer of so many bytes, also where they are no whole number of units.
template <class Unit>
class TightBuffer {
 public:
  explicit TightBuffer(size_t bytes) : bytes_(new uint8_t[bytes]), size_(bytes) { memset(data(), kUntouched, bytes); }

  Unit *data() { return reinterpret_cast<Unit *>(bytes_.get()); }

  /// Whether the buffer starts with units, and all behind them is as it was.
  template <class Units>
  bool holdsOnly(const Units &units) const
  {
    const size_t used = std::size(units) * sizeof(Unit);
    return used <= size_ && (used == 0 || memcmp(bytes_.get(), std::data(units), used) == 0) &&
           std::all_of(bytes_.get() + used, bytes_.get() + size_, [](uint8_t byte) { return byte == kUntouched; });
  }

 private:
  static constexpr uint8_t kUntouched = 0xA5;
  std::unique_ptr<uint8_t[]> bytes_;
  size_t size_;
};

/// A zero-terminated text made of the input's bytes up to the first zero unit, with nothing behind its terminator.
template <class Unit>
class TightText {
 public:
  TightText(const uint8_t *data, size_t size) : TightText(data, size, lengthOf(data, size)) {}

  const Unit *get() const { return units_.get(); }
  Unit *get() { return units_.get(); }
  size_t length() const { return length_; }

 private:
  TightText(const uint8_t *data, size_t, size_t length) : units_(new Unit[length + 1]), length_(length)
  {
    if (length > 0) {
      memcpy(units_.get(), data, length * sizeof(Unit));
    }
    units_[length] = 0;
  }

  static size_t lengthOf(const uint8_t *data, size_t size)
  {
    size_t length = 0;
    for (; (length + 1) * sizeof(Unit) <= size; ++length) {
      const uint8_t *unit = data + length * sizeof(Unit);
      if (std::all_of(unit, unit + sizeof(Unit), [](uint8_t byte) { return byte == 0; })) {
        break;
      }
    }
    return length;
  }

  std::unique_ptr<Unit[]> units_;
  size_t length_;
};

}  // namespace fuzz
