// A list of records that are still to be worked on: the first few in the object itself, so that the common case needs no
// heap, more of them in a block that grows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "base/heap.h"

namespace qv::sdo {

template <class T, uint32_t kFew>
class WorkList {
  static_assert(std::is_trivially_copyable_v<T>, "realloc moves the records");

 public:
  // Not defaulted, which the union would delete: the first few are not initialised before they are used.
  WorkList() {}  // NOLINT(modernize-use-equals-default)
  uint32_t size() const { return size_; }
  T &operator[](uint32_t index) { return items_[index]; }
  T &last() { return items_[size_ - 1]; }
  void pop() { --size_; }

  /// False when the heap is exhausted.
  [[nodiscard]] bool push(const T &item)
  {
    if (size_ == capacity_ && !grow()) {
      return false;
    }
    items_[size_++] = item;
    return true;
  }

 private:
  bool grow()
  {
    const uint32_t capacity = capacity_ * 4;
    auto *larger = static_cast<T *>(realloc(onHeap_.get(), capacity * sizeof(T)));
    if (larger == nullptr) {
      return false;
    }
    if (onHeap_ == nullptr) {
      std::copy_n(few_, size_, larger);
    }
    (void)onHeap_.release();  // realloc has taken it
    onHeap_.reset(larger);
    items_ = larger;
    capacity_ = capacity;
    return true;
  }

  union {
    T few_[kFew];  // NOLINT(readability-identifier-naming): private like the rest
  };
  HeapBlock<T> onHeap_;
  T *items_ = few_;
  uint32_t size_ = 0;
  uint32_t capacity_ = kFew;
};

}  // namespace qv::sdo
