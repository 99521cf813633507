// Writes a text to a file or a stream, and remembers that a write failed.
#pragma once

#include <cstdio>
#include <string_view>

#include "base/heap.h"

namespace qv {

class LineWriter {
 public:
  /// Owns an open file and collects what is written; end() brings it to the disk.
  static constexpr size_t kBlockSize = 65536;
  explicit LineWriter(int descriptor);

  /// Writes to a stream, which stays the caller's; end() flushes it.
  explicit LineWriter(FILE *stream) : stream_(stream) {}

  /// Closes a file whose content did not come to an end: nobody will use it.
  ~LineWriter();
  LineWriter(const LineWriter &) = delete;
  LineWriter &operator=(const LineWriter &) = delete;

  /// False when there was no memory to collect in: nothing is written then.
  explicit operator bool() const { return stream_ != nullptr || block_ != nullptr; }

  void write(std::string_view bytes);
  void write(char byte) { write(std::string_view(&byte, 1)); }

  /// Writes out what was collected. False when this or any earlier write failed, or the file's closing.
  bool end();

  /// Writes out what was collected so far, also of a text that will not come to an end.
  void flush();

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
