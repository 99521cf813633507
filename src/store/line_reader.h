// Reads a settings file line by line. A line ends with its line feed, or after 8449 bytes if there is none so soon:
// the longest line that is written, a key of 255 bytes, "=", a value of 8192 and the line feed. Lines keep all their
// bytes, zero bytes included.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string_view>

#include "base/heap.h"
#include "store/text_search.h"

namespace qv {

class LineReader {
 public:
  static constexpr size_t kLimit = 255 + 1 + 8192 + 1;

  enum class End {
    // Saves the read that finds the end, and the heap for a small file; the beginning comes first, in case that is
    // enough.
    atExpectedSize,
    ofFile
  };

  /// Reads an open file from its start, a block at a time.
  LineReader(int descriptor, off_t expectedSize, End end);
  LineReader(const LineReader &) = delete;
  LineReader &operator=(const LineReader &) = delete;

  /// Reads from a stream, and not a byte beyond the line that was asked for.
  explicit LineReader(FILE *stream);

  /// False if there was no memory for the block: there are no lines then.
  explicit operator bool() const { return begin_ != nullptr; }

  /// The next line, in the reader's memory until the next call. False at the end of the file, and when reading failed.
  bool next(std::string_view &line);

  /// The next lines, as many as there are in the reader's memory, as next(). From a stream it is one line.
  bool nextLines(std::string_view &lines);

  /// Takes back the end of the lines that were asked for last: they are read again.
  void giveBack(std::string_view end) { begin_ -= end.size(); }

  /// The bytes after the last line, a block at a time, as next().
  bool nextBlock(std::string_view &bytes);

  /// Whether the end came because reading failed.
  bool failed() const { return failed_; }

  /// At the end of the file: whether its last line lacks the line feed. A stream is asked for the byte before its
  /// position if no line was read; the position stays.
  bool lacksLineFeed();

 private:
  std::string_view take(size_t size);
  bool fill();
  size_t readDescriptor(char *to, size_t capacity);
  size_t readStream(char *to, size_t capacity);

  int descriptor_ = -1;
  off_t position_ = 0;
  off_t expectedSize_ = -1;  // -1: read to the end
  FILE *stream_ = nullptr;
  size_t capacity_;
  HeapBlock<char> heapBlock_;  // unless the file is small
  char *block_;
  size_t nextRead_;  // the most that is read at once
  char *begin_;      // read and not yet asked for
  char *end_;
  int last_ = EOF;  // the last byte that was asked for, EOF before the first
  bool ended_ = false;
  bool failed_ = false;
  char smallBlock_[4096];
};

/// The line that has the byte at an index, among whole lines.
std::string_view lineAround(std::string_view lines, size_t index);

/// The part of a text before a piece of it.
inline std::string_view before(std::string_view text, std::string_view piece)
{
  return {text.data(), static_cast<size_t>(piece.data() - text.data())};
}

/// The part of a text after a piece of it.
inline std::string_view after(std::string_view text, std::string_view piece)
{
  const char *const end = piece.data() + piece.size();
  return {end, static_cast<size_t>(text.data() + text.size() - end)};
}

/// The first line that contains a text and passes a test, among whole lines; empty, at their end, if there is none.
/// Looking for the text first skips all other lines at the speed of a memory search.
template <class Test>
std::string_view findLine(std::string_view lines, std::string_view text, Test test)
{
  while (!lines.empty()) {
    const size_t found = findText(lines, text);
    if (found == std::string_view::npos) {
      break;
    }
    const std::string_view line = lineAround(lines, found);
    if (test(line)) {
      return line;
    }
    lines = after(lines, line);
  }
  return {lines.data() + lines.size(), 0};
}

/// The text of a line: it ends before the line feed, and before a zero byte.
inline std::string_view textOf(std::string_view line)
{
  if (!line.empty() && line.back() == '\n') {
    line.remove_suffix(1);
  }
  const size_t zero = line.find('\0');
  return zero == std::string_view::npos ? line : std::string_view(line.data(), zero);
}

}  // namespace qv
