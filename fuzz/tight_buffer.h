// Buffers for fuzz targets. They end at an unreadable page, so that one byte read or written past them is found, also by
// code that no sanitizer watches, and are filled with a pattern, so that what is written where nothing should be is found
// as well.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace fuzz {

inline void require(bool holds, const char *what)
{
  if (!holds) {
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
  }
}

/// Memory that ends at an unreadable page. Mappings of the usual capacity are kept for the next one.
class GuardedMemory {
 public:
  explicit GuardedMemory(size_t size)
      : capacity_(size <= kUsual ? kUsual : (size + kPage - 1) / kPage * kPage), start_(take(capacity_)), size_(size)
  {
  }
  GuardedMemory(GuardedMemory &&other) noexcept
      : capacity_(other.capacity_), start_(std::exchange(other.start_, nullptr)), size_(other.size_)
  {
  }
  GuardedMemory &operator=(GuardedMemory &&) = delete;

  ~GuardedMemory()
  {
    if (start_ == nullptr) {
      return;
    }
    if (capacity_ == kUsual) {
      kept().push_back(start_);
    } else {
      (void)munmap(start_, capacity_ + kPage);  // it was mapped
    }
  }

  uint8_t *data() const { return start_ + capacity_ - size_; }
  size_t size() const { return size_; }

 private:
  static constexpr size_t kPage = 4096;
  static constexpr size_t kUsual = 4 * kPage;

  static std::vector<uint8_t *> &kept()
  {
    static std::vector<uint8_t *> mappings;
    return mappings;
  }

  static uint8_t *take(size_t capacity)
  {
    if (capacity == kUsual && !kept().empty()) {
      uint8_t *const start = kept().back();
      kept().pop_back();
      return start;
    }
    void *start = mmap(nullptr, capacity + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(start != MAP_FAILED && mprotect(static_cast<uint8_t *>(start) + capacity, kPage, PROT_NONE) == 0,
            "memory is mapped");
    return static_cast<uint8_t *>(start);
  }

  size_t capacity_;
  uint8_t *start_;
  size_t size_;
};

/// A buffer of so many bytes, also where they are no whole number of units.
template <class Unit>
class TightBuffer {
 public:
  explicit TightBuffer(size_t bytes) : memory_((bytes + sizeof(Unit) - 1) / sizeof(Unit) * sizeof(Unit)), size_(bytes)
  {
    memset(memory_.data(), kUntouched, memory_.size());
  }

  Unit *data() { return reinterpret_cast<Unit *>(memory_.data()); }

  /// Whether the buffer starts with units, and all behind them is as it was.
  template <class Units>
  bool holdsOnly(const Units &units) const
  {
    const size_t used = std::size(units) * sizeof(Unit);
    return used <= size_ && (used == 0 || memcmp(memory_.data(), std::data(units), used) == 0) &&
           std::all_of(memory_.data() + used, memory_.data() + memory_.size(),
                       [](uint8_t byte) { return byte == kUntouched; });
  }

 private:
  static constexpr uint8_t kUntouched = 0xA5;
  GuardedMemory memory_;
  size_t size_;
};

/// A zero-terminated text made of the input's bytes up to the first zero unit, with nothing behind its terminator.
template <class Unit>
class TightText {
 public:
  TightText(const uint8_t *data, size_t size) : TightText(data, size, lengthOf(data, size)) {}

  const Unit *get() const { return reinterpret_cast<const Unit *>(memory_.data()); }
  Unit *get() { return reinterpret_cast<Unit *>(memory_.data()); }
  size_t length() const { return length_; }

 private:
  TightText(const uint8_t *data, size_t, size_t length) : memory_((length + 1) * sizeof(Unit)), length_(length)
  {
    if (length > 0) {
      memcpy(get(), data, length * sizeof(Unit));
    }
    get()[length] = 0;
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

  GuardedMemory memory_;
  size_t length_;
};

}  // namespace fuzz
