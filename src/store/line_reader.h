// Reads a text file line by line, the way all settings files are read: a line is what stands up to and with the next
// line feed, or the next 8449 bytes where there is none so soon. Lines keep all their bytes, zero bytes included.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/heap.h"

namespace qv {

class LineReader {
 public:
  static constexpr size_t kLimit = 8449;

  /// Reads from an open file a block at a time. At its expected size the file is taken to end.
  LineReader(int descriptor, off_t expectedSize);

  /// Reads from a stream, and not a byte beyond the line that was asked for.
  explicit LineReader(FILE *stream);

  /// False when there was no memory for the block: there are no lines then.
  explicit operator bool() const { return block_ != nullptr; }

  /// The next line, in the reader's memory until the next call. False at the end of the file, and when reading failed.
  bool next(std::string_view &line);

  /// The next lines, as many as there are in the reader's memory, as next(). From a stream it is one line.
  bool nextLines(std::string_view &lines);

  /// Takes back the end of the lines that were asked for last: they are read again.
  void giveBack(std::string_view end) { begin_ -= end.size(); }

  /// The bytes behind the last line, a block at a time, as next().
  bool nextBlock(std::string_view &bytes);

  /// Whether the end was that reading failed.
  bool failed() const { return failed_; }

  /// Whether the last line of the file, at its end, lacks its line feed.
  bool lacksLineFeed() const;

 private:
  std::string_view take(size_t size);
  bool fill();
  size_t readDescriptor(char *to, size_t room);
  size_t readStream(char *to, size_t room);

  int descriptor_ = -1;
  off_t left_ = 0;  // of the expected size
  FILE *stream_ = nullptr;
  HeapBlock<char> block_;
  size_t capacity_;
  char *begin_;  // what was read and not yet asked for
  char *end_;
  int last_ = EOF;  // the last byte that was asked for, EOF before the first
  bool ended_ = false;
  bool failed_ = false;
};

/// The one of some whole lines that has a byte at an index.
std::string_view lineAround(std::string_view lines, size_t index);

/// What stands before a piece of a text.
inline std::string_view before(std::string_view text, std::string_view piece)
{
  return {text.data(), static_cast<size_t>(piece.data() - text.data())};
}

/// What stands behind a piece of a text.
inline std::string_view behind(std::string_view text, std::string_view piece)
{
  const char *const end = piece.data() + piece.size();
  return {end, static_cast<size_t>(text.data() + text.size() - end)};
}

/// The first of some whole lines that holds a text and passes a test. Looking for the text first passes over all other
/// lines at the speed of a memory search. Where there is none, nothing at the end of the lines.
template <class Test>
std::string_view findLine(std::string_view lines, std::string_view text, Test test)
{
  while (!lines.empty()) {
    const void *const found = memmem(lines.data(), lines.size(), text.data(), text.size());
    if (found == nullptr) {
      break;
    }
    const std::string_view line =
        lineAround(lines, static_cast<size_t>(static_cast<const char *>(found) - lines.data()));
    if (test(line)) {
      return line;
    }
    lines = behind(lines, line);
  }
  return {lines.data() + lines.size(), 0};
}

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
