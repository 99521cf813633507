// The bytes of a record before they are written in one piece. It grows as bytes are added; memory that runs out is
// remembered, so that no addition needs a check of its own and a record with a hole in it is never written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/heap.h"

namespace qv::log {

class RecordBuffer {
 public:
  /// `expected` saves growing and limits nothing.
  explicit RecordBuffer(size_t expected) { (void)reserve(expected); }  // isComplete() reports a failure

  /// A place for `size` more bytes, which count once they are committed. Null if memory has run out.
  char *reserve(size_t size)
  {
    if (capacity_ - size_ < size && !grow(size_ + size)) {
      return nullptr;
    }
    return bytes_.get() + size_;
  }

  void commit(size_t size) { size_ += size; }

  void add(std::string_view text)
  {
    if (char *place = reserve(text.size())) {
      memcpy(place, text.data(), text.size());
      commit(text.size());
    }
  }

  /// False if memory has run out at any time: bytes are missing then.
  bool isComplete() const { return !failed_; }

  std::string_view bytes() const { return {bytes_.get(), size_}; }

 private:
  bool grow(size_t needed)
  {
    const size_t capacity = std::max(needed, 2 * capacity_);
    char *grown = failed_ ? nullptr : static_cast<char *>(realloc(bytes_.get(), capacity));
    if (grown == nullptr) {
      failed_ = true;
      return false;
    }
    (void)bytes_.release();  // realloc has freed or moved it
    bytes_.reset(grown);
    capacity_ = capacity;
    return true;
  }

  HeapBlock<char> bytes_;
  size_t capacity_ = 0;
  size_t size_ = 0;
  bool failed_ = false;
};

}  // namespace qv::log
