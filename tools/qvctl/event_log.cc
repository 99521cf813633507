// See event_log.h.

#include "event_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "failure.h"
#include "output.h"
#include "text_log_reader.h"
#include "xml_log_reader.h"

namespace qvctl {
namespace {

class File {
 public:
  explicit File(const std::string &path)
      : descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY))
  {
  }
  ~File()
  {
    if (descriptor_ > STDIN_FILENO) {
      (void)close(descriptor_);  // nothing was written
    }
  }
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

bool isSame(const struct stat &a, const struct stat &b)
{
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

/// Returns 0 or an errno.
int readToEnd(int descriptor, std::string &bytes, size_t expected, const ReadProgress &progress)
{
  constexpr size_t kPiece = 65536;
  constexpr size_t kAtOnce = 1048576;  // so that progress shows
  bytes.clear();
  bytes.resize(expected + 1);  // one more, so that the end shows without growing
  size_t size = 0;
  for (;;) {
    if (size == bytes.size()) {
      bytes.resize(size + std::max(size / 2, kPiece));
    }
    const ssize_t got = read(descriptor, bytes.data() + size, std::min(bytes.size() - size, kAtOnce));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      bytes.resize(size);
      return got == 0 ? 0 : errno;
    }
    size += static_cast<size_t>(got);
    if (progress) {
      progress(size, expected);
    }
  }
}

}  // namespace

size_t EventLog::lostEvents() const
{
  size_t count = 0;
  for (const LostPart &part : lost) {
    count += part.events;
  }
  return count;
}

uint64_t EventLog::fileOffset(size_t at) const
{
  const auto tears = std::upper_bound(tears_.begin(), tears_.end(), at) - tears_.begin();
  return bytesBefore(at) + static_cast<uint64_t>(tears);
}

uint64_t EventLog::fileEnd(size_t at) const
{
  const auto tears = std::lower_bound(tears_.begin(), tears_.end(), at) - tears_.begin();
  return bytesBefore(at) + static_cast<uint64_t>(tears);
}

uint64_t EventLog::bytesBefore(size_t at) const
{
  if (format == LogFormat::xml) {
    return at;
  }
  if (at < lastPlace_) {
    lastPlace_ = 0;
    lastUnits_ = 0;
  }
  for (; lastPlace_ < at; ++lastPlace_) {
    const auto byte = static_cast<unsigned char>((*text_)[lastPlace_]);
    lastUnits_ += byte >= 0xF0 ? 2u : (byte & 0xC0) != 0x80 ? 1u : 0u;
  }
  return 2 * lastUnits_;
}

size_t countOf(std::string_view part, std::string_view word)
{
  size_t count = 0;
  for (size_t at = part.find(word); at != std::string_view::npos; at = part.find(word, at + word.size())) {
    ++count;
  }
  return count;
}

std::optional<LogFormat> recogniseLog(std::string_view bytes)
{
  // A record without a header is what an older program may have left.
  constexpr std::string_view kTextBegins[] = {{"\xFF\xFE", 2}, {"#\0-\0", 4}, {"E\0v\0e\0n\0t\0I\0D\0:\0", 16}};
  for (const std::string_view begin : kTextBegins) {
    if (bytes.starts_with(begin) || (!bytes.empty() && kTextBegins[0].starts_with(bytes))) {
      return LogFormat::text;
    }
  }
  const bool isXml = kXmlHeader.starts_with(bytes) || bytes.starts_with(kXmlHeader) ||
                     bytes.find(kXmlBegin) != std::string_view::npos || bytes.find(kXmlEntry) != std::string_view::npos;
  return isXml ? std::optional(LogFormat::xml) : std::nullopt;
}

EventLog splitLog(std::string bytes, LogFormat format)
{
  EventLog log;
  log.format = format;
  log.fileSize = bytes.size();
  if (format == LogFormat::text) {
    splitTextLog(log, bytes);
  } else {
    log.setText(std::move(bytes));
    splitXmlLog(log);
  }
  return log;
}

std::string readWhole(const std::string &path, const ReadProgress &progress)
{
  const File file(path);
  const std::string name = path == "-" ? "standard input" : path;
  if (file.descriptor() < 0) {
    throw systemFailure(name, errno);
  }
  // An append that is under way while the file is read would look like a damaged end.
  constexpr int kTries = 3;
  std::string bytes;
  for (int i = 0; i < kTries; ++i) {
    struct stat before {};
    struct stat after {};
    if (fstat(file.descriptor(), &before) != 0) {
      throw systemFailure(name, errno);
    }
    if (const int error = readToEnd(file.descriptor(), bytes, static_cast<size_t>(before.st_size), progress);
        error != 0) {
      throw systemFailure(name, error);
    }
    if (!S_ISREG(before.st_mode) || fstat(file.descriptor(), &after) != 0 || isSame(before, after) ||
        lseek(file.descriptor(), 0, SEEK_SET) != 0) {
      break;
    }
  }
  return bytes;
}

EventLog readLog(const std::string &path)
{
  std::string bytes = readWhole(path);
  const auto format = recogniseLog(bytes);
  if (!format) {
    throw toolFailure(path, "neither a text log nor an XML log");
  }
  return splitLog(std::move(bytes), *format);
}

void tellLost(const std::string &path, const EventLog &log)
{
  const size_t count = log.lostEvents();
  if (count != 0) {
    complain(path + ": " + std::to_string(count) + (count == 1 ? " event" : " events") +
             " could not be split; 'qvctl log check' tells where");
  }
}

}  // namespace qvctl
