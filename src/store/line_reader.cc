// See line_reader.h.

#include "store/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "base/input_output.h"

namespace qv {
namespace {

constexpr off_t kLargestBlock = 65536;

/// A whole small file, but a line at least.
size_t blockSizeFor(off_t expectedSize)
{
  return static_cast<size_t>(std::clamp(expectedSize, off_t{LineReader::kLimit}, kLargestBlock));
}

HeapBlock<char> allocate(size_t size)
{
  return HeapBlock<char>(static_cast<char *>(malloc(size)));
}

/// The size of the lines that are known to be whole without what follows.
size_t sizeOfWholeLines(std::string_view bytes)
{
  const void *const lineFeed = memrchr(bytes.data(), '\n', bytes.size());
  const size_t size =
      lineFeed == nullptr ? 0 : static_cast<size_t>(static_cast<const char *>(lineFeed) - bytes.data()) + 1;
  return size + (bytes.size() - size) / LineReader::kLimit * LineReader::kLimit;
}

/// The byte before a stream's position, which stays; EOF if there is none.
int byteBefore(FILE *stream)
{
  const off_t position = ftello(stream);
  if (position <= 0 || fseeko(stream, position - 1, SEEK_SET) != 0) {
    return EOF;
  }
  const int byte = getc(stream);
  (void)fseeko(stream, position, SEEK_SET);  // where getc(3) has left it, unless that failed
  return byte;
}

}  // namespace

LineReader::LineReader(int descriptor, off_t expectedSize, End end)
    : descriptor_(descriptor),
      expectedSize_(end == End::ofFile ? -1 : expectedSize),
      capacity_(blockSizeFor(expectedSize)),
      nextRead_(end == End::ofFile ? capacity_ : sizeof(smallBlock_))
{
  const bool isSmall = end == End::atExpectedSize && expectedSize <= off_t{sizeof(smallBlock_)};
  if (!isSmall) {
    heapBlock_ = allocate(capacity_);
  }
  begin_ = end_ = block_ = isSmall ? smallBlock_ : heapBlock_.get();
}

LineReader::LineReader(FILE *stream)
    : stream_(stream),
      capacity_(kLimit),
      heapBlock_(allocate(kLimit)),
      block_(heapBlock_.get()),
      nextRead_(kLimit),
      begin_(block_),
      end_(block_)
{
}

bool LineReader::next(std::string_view &line)
{
  if (block_ == nullptr) {
    return false;
  }
  for (;;) {
    const size_t seen = std::min(static_cast<size_t>(end_ - begin_), kLimit);
    const void *lineFeed = memchr(begin_, '\n', seen);
    size_t size = seen;
    if (lineFeed != nullptr) {
      size = static_cast<size_t>(static_cast<const char *>(lineFeed) - begin_) + 1;
    } else if (seen < kLimit) {
      if (fill()) {
        continue;
      }
      if (failed_ || seen == 0) {
        return false;
      }
    }
    line = take(size);
    return true;
  }
}

bool LineReader::nextLines(std::string_view &lines)
{
  if (block_ == nullptr) {
    return false;
  }
  for (;;) {
    const auto seen = static_cast<size_t>(end_ - begin_);
    size_t size = sizeOfWholeLines({begin_, seen});
    if (size == 0) {
      if (fill()) {
        continue;
      }
      if (failed_ || seen == 0) {
        return false;
      }
      size = seen;
    }
    lines = take(size);
    return true;
  }
}

bool LineReader::nextBlock(std::string_view &bytes)
{
  if (block_ == nullptr || (begin_ == end_ && !fill())) {
    return false;
  }
  bytes = take(static_cast<size_t>(end_ - begin_));
  return true;
}

bool LineReader::lacksLineFeed()
{
  if (last_ == EOF && stream_ != nullptr) {
    last_ = byteBefore(stream_);
  }
  return last_ != EOF && last_ != '\n';
}

/// Hands out what comes next.
std::string_view LineReader::take(size_t size)
{
  const std::string_view bytes(begin_, size);
  begin_ += size;
  last_ = static_cast<unsigned char>(bytes.back());
  return bytes;
}

/// Reads more. False at the end of the file, and when reading failed.
bool LineReader::fill()
{
  if (ended_) {
    return false;
  }
  if (begin_ != block_) {
    memmove(block_, begin_, static_cast<size_t>(end_ - begin_));
    end_ = block_ + (end_ - begin_);
    begin_ = block_;
  }
  const size_t capacity = std::min(capacity_ - static_cast<size_t>(end_ - begin_), nextRead_);
  const size_t size = stream_ == nullptr ? readDescriptor(end_, capacity) : readStream(end_, capacity);
  nextRead_ = capacity_;
  end_ += size;
  ended_ = ended_ || size == 0;
  return size != 0;
}

size_t LineReader::readDescriptor(char *to, size_t capacity)
{
  const ssize_t size = uninterrupted([&] { return pread(descriptor_, to, capacity, position_); });
  if (size < 0) {
    failed_ = true;
    return 0;
  }
  position_ += size;
  ended_ = position_ == expectedSize_;
  return static_cast<size_t>(size);
}

size_t LineReader::readStream(char *to, size_t capacity)
{
  size_t size = 0;
  while (size < capacity) {
    const int c = getc(stream_);
    if (c == EOF) {
      failed_ = ferror(stream_) != 0;
      return failed_ ? 0 : size;
    }
    to[size++] = static_cast<char>(c);
    if (c == '\n') {
      break;
    }
  }
  return size;
}

std::string_view lineAround(std::string_view lines, size_t index)
{
  const size_t lineFeed = index == 0 ? std::string_view::npos : lines.rfind('\n', index - 1);
  size_t start = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
  start += (index - start) / LineReader::kLimit * LineReader::kLimit;
  const std::string_view rest(lines.data() + start, std::min(LineReader::kLimit, lines.size() - start));
  const size_t end = rest.find('\n');
  return end == std::string_view::npos ? rest : std::string_view(rest.data(), end + 1);
}

}  // namespace qv
