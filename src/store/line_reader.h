// Reads a text file line by line, the way all settings files are read: a line is what stands up to and with the next
// line feed, or the next 8449 bytes where there is none so soon. Lines keep all their bytes, zero bytes included.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string_view>

#include "frame/heap.h"

namespace qv {

class LineReader {
 public:
  static constexpr size_t kLimit = 8449;

  /// Reads from an open file, whose size is expected, a block at a time.
  LineReader(int descriptor, off_t expectedSize);

  /// Reads from a stream, and not a byte beyond the line that was asked for.
  explicit LineReader(FILE *stream);

  /// False when there was no memory for the block: there are no lines then.
  explicit operator bool() const { return block_ != nullptr; }

  /// The next line, in the reader's memory until the next call. False at the end of the file, and when reading failed.
  bool next(std::string_view &line);

  /// The bytes behind the last line, a block at a time, as next().
  bool nextBlock(std::string_view &bytes);

  /// Whether the end was that reading failed.
  bool failed() const { return failed_; }

  /// Whether the last line of the file, at its end, lacks its line feed.
  bool lacksLineFeed() const;

 private:
  bool fill();
  size_t readDescriptor(char *to, size_t room);
  size_t readStream(char *to, size_t room);

  int descriptor_ = -1;
  FILE *stream_ = nullptr;
  HeapBlock<char> block_;
  size_t capacity_;
  char *begin_;  // what was read and not yet asked for
  char *end_;
  int last_ = EOF;  // the last byte that was asked for, EOF before the first
  bool failed_ = false;
};

/// What a line says: it ends before the line feed, and before a zero byte.
inline std::string_view textOf(std::string_view line)
{
  if (!line.empty() && line.back() == '\n') {
    line.remove_suffix(1);
  }
  const size_t zero = line.find('\0');
  return zero == std::string_view::npos ? line : std::string_view(line.data(), zero);
}

}  // namespace qv
