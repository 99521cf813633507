// See output.h.

#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "failure.h"

namespace qvctl {
namespace {

constexpr size_t kWritePiece = 64 * 1024;
constexpr int64_t kTicksASecond = 10;

/// Returns 0 or the errno of the write that failed.
int writeAll(int descriptor, std::string_view bytes)
{
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int64_t now()
{
  using Tick = std::chrono::duration<int64_t, std::ratio<1, kTicksASecond>>;
  return std::chrono::duration_cast<Tick>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void Output::write(std::string_view bytes)
{
  buffer_ += bytes;
  if (buffer_.size() >= kWritePiece) {
    flush();
  }
}

void Output::flush()
{
  const std::string pending = std::move(buffer_);
  buffer_.clear();
  if (const int error = writeAll(STDOUT_FILENO, pending); error != 0) {
    if (error == EPIPE) {
      throw Failure(Exit::failed, "");  // the reader has seen enough, as head(1) does: nothing to complain about
    }
    throw systemFailure("standard output", error);
  }
}

bool Output::toTerminal()
{
  return isatty(STDOUT_FILENO) != 0;
}

bool Output::colours()
{
  const char *refused = getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && toTerminal();
}

void complain(std::string_view line)
{
  (void)writeAll(STDERR_FILENO, "qvctl: " + showControls(line) + "\n");  // there is no other place for a message
}

Progress::Progress(std::string_view label) : label_(label), terminal_(isatty(STDERR_FILENO) != 0) {}

void Progress::show(uint64_t done, uint64_t total)
{
  if (!terminal_ || total == 0 || now() == lastTick_) {
    return;
  }
  lastTick_ = now();
  shown_ = true;
  (void)writeAll(STDERR_FILENO,  // progress that cannot be shown is no failure
                 "\r" + label_ + " " + std::to_string(done * 100 / total) + "%\x1b[K");
}

Progress::~Progress()
{
  if (shown_) {
    (void)writeAll(STDERR_FILENO, "\r\x1b[K");  // as above
  }
}

std::string showControls(std::string_view text)
{
  constexpr char kDigits[] = "0123456789abcdef";
  std::string shown;
  shown.reserve(text.size());
  unsigned char last = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte == '\n') {
      shown += "\\n";
    } else if (byte == '\r') {
      shown += "\\r";
    } else if (byte == '\t') {
      shown += "\\t";
    } else if (byte < 0x20 || byte == 0x7f || (byte >= 0x80 && byte < 0xa0 && last == 0xc2)) {
      if (byte >= 0x80) {
        shown.pop_back();  // U+0080 to U+009F, two bytes, are controls for a terminal too
      }
      shown += "\\x";
      shown += kDigits[byte >> 4];
      shown += kDigits[byte & 15];
    } else {
      shown += character;
    }
    last = byte;
  }
  return shown;
}

}  // namespace qvctl
