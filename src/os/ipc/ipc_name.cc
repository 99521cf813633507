// IPC names: offsets from a base that the site configures.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/descriptor.h"
#include "base/input_output.h"
#include "base/text.h"
#include "qvsupt32/os.h"

uint32_t l_ipc_name_base = 0xFFFFFFFF;

namespace {

using qv::UniqueFd;

constexpr uint32_t kBaseNotRead = 0xFFFFFFFF;
constexpr uint32_t kDefaultNameBase = 100000;
constexpr char kConfigFile[] = "/etc/vela.conf";

/// Reads the configuration file line by line as fgets(3) does with a buffer of 256 bytes, but without the heap.
class ConfigLineReader {
 public:
  explicit ConfigLineReader(int descriptor) : descriptor_(descriptor) {}

  /// The next line with its line feed, or the next 255 characters of a longer one; empty at the end of the file and
  /// when it cannot be read.
  std::string_view next()
  {
    held_ -= used_;
    memmove(buffer_, buffer_ + used_, held_);
    const void *lineFeed;
    while ((lineFeed = memchr(buffer_, '\n', held_)) == nullptr && held_ < sizeof(buffer_)) {
      const ssize_t got =
          qv::uninterrupted([this] { return read(descriptor_, buffer_ + held_, sizeof(buffer_) - held_); });
      if (got < 0) {
        return {};  // the rest of the line is unknown
      }
      if (got == 0) {
        break;
      }
      held_ += static_cast<size_t>(got);
    }
    used_ = lineFeed == nullptr ? held_ : static_cast<size_t>(static_cast<const char *>(lineFeed) - buffer_) + 1;
    return {buffer_, used_};
  }

 private:
  int descriptor_;
  size_t held_ = 0;
  size_t used_ = 0;
  char buffer_[255];
};

std::string_view withoutLeadingSpace(std::string_view text)
{
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  return text;
}

/// Matches a line as the scan pattern " ipcnamebase=%d" does, in the C locale.
std::optional<int32_t> scanNameBase(std::string_view line)
{
  constexpr std::string_view kKey = "ipcnamebase=";
  line = withoutLeadingSpace(line);
  if (!line.starts_with(kKey)) {
    return std::nullopt;
  }
  line.remove_prefix(kKey.size());
  line = withoutLeadingSpace(line);
  const bool negative = line.starts_with('-');
  if (negative || line.starts_with('+')) {
    line.remove_prefix(1);
  }
  if (line.empty() || !qv::isDecimalDigit(line.front())) {
    return std::nullopt;
  }
  uint64_t magnitude = 0;
  const uint64_t limit = negative ? uint64_t{INT32_MAX} + 1 : uint64_t{INT32_MAX};
  for (; !line.empty() && qv::isDecimalDigit(line.front()); line.remove_prefix(1)) {
    magnitude = std::min(magnitude * 10 + static_cast<uint64_t>(line.front() - '0'), limit);
  }
  return static_cast<int32_t>(negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude));
}

uint32_t readNameBase()
{
  // Non-blocking: a FIFO at this path must not hold up the start of every program of the suite.
  const UniqueFd config(open(kConfigFile, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!config) {
    return kDefaultNameBase;
  }
  ConfigLineReader reader(config.get());
  for (std::string_view line = reader.next(); !line.empty(); line = reader.next()) {
    if (const std::optional<int32_t> base = scanNameBase(line)) {
      return static_cast<uint32_t>(*base);
    }
  }
  return kDefaultNameBase;
}

}  // namespace

uint32_t CreateIPCName(uint32_t offset)
{
  if (l_ipc_name_base == kBaseNotRead) {
    l_ipc_name_base = readNameBase();
  }
  return offset + l_ipc_name_base;
}
