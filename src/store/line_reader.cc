// See line_reader.h.

#include "store/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qv {
namespace {

constexpr off_t kLargestBlock = 65536;

/// Room for a whole file and one byte more, so that reading it meets the end at once, but for a line at least.
size_t blockSizeFor(off_t expectedSize)
{
  return static_cast<size_t>(std::clamp(expectedSize + 1, off_t{LineReader::kLimit}, kLargestBlock));
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

}  // namespace

LineReader::LineReader(int descriptor, off_t expectedSize)
    : descriptor_(descriptor), capacity_(blockSizeFor(expectedSize))
{
  block_ = allocate(capacity_);
  begin_ = end_ = block_.get();
}

LineReader::LineReader(FILE *stream) : stream_(stream), capacity_(kLimit)
{
  block_ = allocate(capacity_);
  begin_ = end_ = block_.get();
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

bool LineReader::lacksLineFeed() const
{
  if (last_ != EOF || stream_ == nullptr) {
    return last_ != EOF && last_ != '\n';
  }
  // Nothing was read here: the line is the one that somebody read from the stream before.
  if (ftello(stream_) <= 0 || fseeko(stream_, -1, SEEK_CUR) != 0) {
    return false;
  }
  return getc(stream_) != '\n';
}

/// Hands out what comes next.
std::string_view LineReader::take(size_t size)
{
  const std::string_view bytes(begin_, size);
  begin_ += size;
  last_ = static_cast<unsigned char>(bytes.back());
  return bytes;
}

/// Reads on behind what is not yet asked for. False at the end of the file, and when reading failed.
bool LineReader::fill()
{
  if (ended_) {
    return false;
  }
  if (begin_ != block_.get()) {
    memmove(block_.get(), begin_, static_cast<size_t>(end_ - begin_));
    end_ = block_.get() + (end_ - begin_);
    begin_ = block_.get();
  }
  const size_t room = capacity_ - static_cast<size_t>(end_ - begin_);
  const size_t size = stream_ == nullptr ? readDescriptor(end_, room) : readStream(end_, room);
  end_ += size;
  ended_ = size == 0;
  return !ended_;
}

size_t LineReader::readDescriptor(char *to, size_t room)
{
  ssize_t size;
  do {
    size = read(descriptor_, to, room);
  } while (size < 0 && errno == EINTR);
  failed_ = size < 0;
  return failed_ ? 0 : static_cast<size_t>(size);
}

size_t LineReader::readStream(char *to, size_t room)
{
  size_t size = 0;
  while (size < room) {
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
