// Writes the lines of a settings file to a descriptor or a stream, both of which stay the caller's, and remembers that
// a write failed.
#pragma once

#include <cstdio>
#include <string_view>

#include "base/heap.h"

namespace qv {

class LineWriter {
 public:
  /// Collects what is written to an open file in a block.
  explicit LineWriter(int descriptor);

  explicit LineWriter(FILE *stream) : stream_(stream) {}
  LineWriter(const LineWriter &) = delete;
  LineWriter &operator=(const LineWriter &) = delete;

  /// False if there was no memory for the block: nothing may be written then.
  explicit operator bool() const { return stream_ != nullptr || block_ != nullptr; }

  void write(std::string_view bytes);
  void write(char byte) { write(std::string_view(&byte, 1)); }

  /// Writes out what was collected. False if this or any earlier write failed.
  bool flush();

  /// Whether a write failed so far.
  bool failed() const { return failed_; }

 private:
  int descriptor_ = -1;
  FILE *stream_ = nullptr;
  HeapBlock<char> block_;
  size_t size_ = 0;
  bool failed_ = false;
};

}  // namespace qv
