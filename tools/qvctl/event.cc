// See event.h.

#include "event.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>

#include "hex.h"

namespace qvctl {
namespace {

struct Type {
  uint32_t number;
  const char *name;
  const char *line;  // what a text log says
};

constexpr Type kTypes[] = {
    {0, "success", "None"},
    {1, "error", "Error"},
    {2, "warning", "Warning"},
    {4, "information", "Information"},
    {8, "audit-success", "Audit Success"},
    {16, "audit-failure", "Audit Failure"},
};

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

constexpr size_t kDumpOffset = 12;  // columns of "0x00000000: "
constexpr size_t kDumpText = 63;
constexpr size_t kDumpBytes = 16;

/// Takes a number of 1 to as many digits from the front of a text.
bool takeNumber(std::string_view &text, size_t digits, int &number)
{
  const char *const end = text.data() + std::min(text.size(), digits);
  const auto [next, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || text[0] == '-') {
    return false;
  }
  text.remove_prefix(static_cast<size_t>(next - text.data()));
  return true;
}

bool take(std::string_view &text, char expected)
{
  if (text.empty() || text[0] != expected) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

bool isSameMinute(const tm &a, const tm &b)
{
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday && a.tm_hour == b.tm_hour &&
         a.tm_min == b.tm_min;
}

/// mktime(3) looks at the file of the time zone in every call: the offset of the last time mostly is that of this one.
std::optional<int64_t> fromLocal(tm local)
{
  static int64_t lastOffset = 0;
  tm copy = local;
  const int64_t asUniversal = timegm(&copy);
  if (copy.tm_mday != local.tm_mday || copy.tm_mon != local.tm_mon) {
    return std::nullopt;  // the thirtieth of February
  }
  const auto guess = static_cast<time_t>(asUniversal - lastOffset);
  tm check{};
  if (localtime_r(&guess, &check) != nullptr && isSameMinute(check, local)) {
    return guess;
  }
  local.tm_isdst = -1;
  const time_t found = mktime(&local);
  lastOffset = asUniversal - found;
  return found;
}

}  // namespace

std::string typeName(const Event &event)
{
  if (!event.type) {
    return std::string(event.typeText);
  }
  for (const Type &type : kTypes) {
    if (type.number == *event.type) {
      return type.name;
    }
  }
  return std::to_string(*event.type);
}

std::optional<uint32_t> typeNumber(std::string_view name)
{
  for (const Type &type : kTypes) {
    if (name == type.name || name == type.line) {
      return type.number;
    }
  }
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc{} && end == name.data() + name.size() ? std::optional(number) : std::nullopt;
}

std::string timeText(const Event &event, char between)
{
  const auto seconds = static_cast<time_t>(event.epoch.value_or(0));
  tm local{};
  if (!event.epoch || localtime_r(&seconds, &local) == nullptr) {
    return std::string(event.dateTime);
  }
  char text[64];
  const int size = snprintf(text, sizeof text, "%04lld-%02d-%02d%c%02d:%02d:%02d", local.tm_year + 1900LL,
                            local.tm_mon + 1, local.tm_mday, between, local.tm_hour, local.tm_min, local.tm_sec);
  return {text, static_cast<size_t>(size)};
}

std::optional<int64_t> parseLogTime(std::string_view text)
{
  tm local{};
  if (text.size() < 20) {
    return std::nullopt;
  }
  text.remove_prefix(4);
  const auto month = text.substr(0, 3);
  while (local.tm_mon < 12 && kMonths[static_cast<size_t>(local.tm_mon)] != month) {
    ++local.tm_mon;
  }
  text.remove_prefix(3);
  while (take(text, ' ')) {
  }
  const bool read = takeNumber(text, 2, local.tm_mday) && take(text, ' ') && takeNumber(text, 2, local.tm_hour) &&
                    take(text, ':') && takeNumber(text, 2, local.tm_min) && take(text, ':') &&
                    takeNumber(text, 2, local.tm_sec) && take(text, ' ') && takeNumber(text, 9, local.tm_year);
  if (!read || !text.empty() || local.tm_mon == 12 || local.tm_hour > 23 || local.tm_min > 59 || local.tm_sec > 60) {
    return std::nullopt;
  }
  local.tm_year -= 1900;
  return fromLocal(local);
}

std::optional<int64_t> parseUserTime(std::string_view text)
{
  if (take(text, '@')) {
    int64_t epoch = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), epoch);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(epoch) : std::nullopt;
  }
  tm local{};
  if (!takeNumber(text, 4, local.tm_year) || !take(text, '-') || !takeNumber(text, 2, local.tm_mon) ||
      !take(text, '-') || !takeNumber(text, 2, local.tm_mday)) {
    return std::nullopt;
  }
  if (!text.empty()) {
    if ((!take(text, ' ') && !take(text, 'T')) || !takeNumber(text, 2, local.tm_hour) || !take(text, ':') ||
        !takeNumber(text, 2, local.tm_min)) {
      return std::nullopt;
    }
    if (!text.empty() && (!take(text, ':') || !takeNumber(text, 2, local.tm_sec))) {
      return std::nullopt;
    }
  }
  if (!text.empty() || local.tm_mon < 1 || local.tm_mon > 12 || local.tm_mday < 1 || local.tm_hour > 23 ||
      local.tm_min > 59 || local.tm_sec > 60) {
    return std::nullopt;
  }
  local.tm_year -= 1900;
  local.tm_mon -= 1;
  return fromLocal(local);
}

std::string formatLogTime(int64_t epoch)
{
  const auto seconds = static_cast<time_t>(epoch);
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return {};
  }
  char text[64];
  const int size =
      snprintf(text, sizeof text, "%s %s %2d %02d:%02d:%02d %lld", kDays[static_cast<size_t>(local.tm_wday)].data(),
               kMonths[static_cast<size_t>(local.tm_mon)].data(), local.tm_mday, local.tm_hour, local.tm_min,
               local.tm_sec, local.tm_year + 1900LL);
  return {text, static_cast<size_t>(size)};
}

std::optional<std::string> decodeDump(std::string_view dump)
{
  std::string bytes;
  bytes.reserve(dump.size() / 5);
  while (!dump.empty()) {
    std::string_view line = dump.substr(0, dump.find('\n'));
    dump.remove_prefix(std::min(dump.size(), line.size() + 1));
    if (line.size() < kDumpOffset + 2) {
      return std::nullopt;
    }
    uint32_t offset = 0;
    const auto [end, error] = std::from_chars(line.data() + 2, line.data() + kDumpOffset - 2, offset, 16);
    if (error != std::errc{} || end != line.data() + kDumpOffset - 2 || line.substr(0, 2) != "0x" ||
        line[kDumpOffset - 2] != ':' || offset != bytes.size() || bytes.size() % kDumpBytes != 0) {
      return std::nullopt;
    }
    for (size_t i = 0; i < kDumpBytes; ++i) {
      const size_t at = kDumpOffset + 3 * i;
      if (at + 2 > line.size() || line[at] == ' ') {
        break;
      }
      const auto byte = fromHex(line.substr(at, 2));
      if (!byte) {
        return std::nullopt;
      }
      bytes += *byte;
    }
  }
  return bytes;
}

std::string encodeDump(std::string_view bytes)
{
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string dump;
  for (size_t offset = 0; offset < bytes.size(); offset += kDumpBytes) {
    char label[kDumpOffset + 1];
    (void)snprintf(label, sizeof label, "0x%08X: ", static_cast<unsigned>(offset));  // always fits
    std::string line(kDumpText + kDumpBytes + 1, ' ');
    line.replace(0, kDumpOffset, label);
    for (size_t i = 0; i < kDumpBytes && offset + i < bytes.size(); ++i) {
      const auto byte = static_cast<unsigned char>(bytes[offset + i]);
      const size_t at = kDumpOffset + 3 * i;
      if (i != 0 && i % 4 == 0) {
        line[at - 1] = ':';
      }
      line[at] = kDigits[byte >> 4];
      line[at + 1] = kDigits[byte & 15];
      line[kDumpText + i] = byte >= 32 && byte <= 122 ? static_cast<char>(byte) : '.';
    }
    dump += line + "\r\n";
  }
  return dump;
}

}  // namespace qvctl
