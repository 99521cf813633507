// See string_file.h.

#include "string_file.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>

namespace qvctl {
namespace {

constexpr size_t kLineCapacity = 1024;                 // of a line buffer, in units, its terminator included
constexpr size_t kLongestNumber = 8;                   // hexadecimal digits of 32 bits
constexpr uint32_t kDefaultLanguages[] = {437, 1033};  // looked up as language 0

std::u16string keyOf(uint32_t language, uint32_t id)
{
  char text[32];
  const int size = snprintf(text, sizeof text, "%X:%X=", language, id);
  return {text, text + size};
}

constexpr bool isUpperDigit(char16_t unit)
{
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F');
}

constexpr bool isDigit(char16_t unit)
{
  return isUpperDigit(unit) || (unit >= u'a' && unit <= u'f');
}

/// The key that a line begins with: digits of either case, ":", digits. Empty when it begins otherwise.
std::u16string_view leadingKey(std::u16string_view line)
{
  const size_t colon = line.find(u':');
  const size_t equals = line.find(u'=');
  if (colon == std::u16string_view::npos || equals == std::u16string_view::npos || equals < colon + 2 || colon == 0) {
    return {};
  }
  const std::u16string_view key = line.substr(0, equals + 1);
  const auto digits = [](std::u16string_view part) { return std::all_of(part.begin(), part.end(), isDigit); };
  return digits(key.substr(0, colon)) && digits(key.substr(colon + 1, equals - colon - 1)) ? key
                                                                                           : std::u16string_view{};
}

/// Calls take(key) for every key that a lookup would find in a line: the digits before a ":" match by each of their
/// ends, since a lookup looks for the key anywhere.
template <class Take>
void forEachFoundKey(std::u16string_view line, Take take)
{
  for (size_t colon = line.find(u':'); colon != std::u16string_view::npos; colon = line.find(u':', colon + 1)) {
    size_t end = colon + 1;
    while (end < line.size() && isUpperDigit(line[end])) {
      ++end;
    }
    if (end == colon + 1 || end - colon - 1 > kLongestNumber || end == line.size() || line[end] != u'=') {
      continue;
    }
    for (size_t begin = colon; begin > 0 && colon - begin < kLongestNumber && isUpperDigit(line[begin - 1]);) {
      --begin;
      take(line.substr(begin, end + 1 - begin));
    }
  }
}

/// Why no lookup asks for a key of this form. Null when one does.
const char *unaskedFor(std::u16string_view key)
{
  const size_t colon = key.find(u':');
  const std::u16string_view language = key.substr(0, colon);
  const std::u16string_view id = key.substr(colon + 1, key.size() - colon - 2);
  const auto lower = [](std::u16string_view digits) {
    return std::any_of(digits.begin(), digits.end(), [](char16_t digit) { return !isUpperDigit(digit); });
  };
  const auto padded = [](std::u16string_view digits) { return digits.size() > 1 && digits[0] == u'0'; };
  if (lower(language) || lower(id)) {
    return "lower-case digits: a lookup asks for upper-case ones";
  }
  if (padded(language) || padded(id)) {
    return "leading zeros: a lookup asks for none";
  }
  if (language.size() > kLongestNumber || id.size() > kLongestNumber) {
    return "a number of more than 32 bits";
  }
  for (const uint32_t asDefault : kDefaultLanguages) {
    if (keyOf(asDefault, 0).substr(0, colon + 1) == key.substr(0, colon + 1)) {
      return "the languages 437 and 1033 are looked up as language 0";
    }
  }
  return nullptr;
}

}  // namespace

bool isStringFile(std::string_view content)
{
  return content.starts_with("\xFF\xFE");
}

std::vector<std::u16string_view> stringLines(std::u16string_view units)
{
  std::vector<std::u16string_view> lines;
  while (units.size() > 1) {
    const std::u16string_view block = units.substr(0, kLineCapacity);
    const size_t end = block.find(u"\r\n");
    size_t length = block.size() - 1;  // the last unit gives way to a terminator, and is read again
    if (end != std::u16string_view::npos) {
      // a line feed as the last unit that the buffer holds gives way too
      length = end + 2 < kLineCapacity ? end + 2 : end + 1;
    }
    lines.push_back(units.substr(0, length));
    units.remove_prefix(length);
  }
  return lines;
}

std::optional<std::u16string> findString(const std::vector<std::u16string_view> &lines, uint32_t language, uint32_t id)
{
  if (std::find(std::begin(kDefaultLanguages), std::end(kDefaultLanguages), language) != std::end(kDefaultLanguages)) {
    language = 0;
  }
  const std::u16string key = keyOf(language, id);
  for (const std::u16string_view each : lines) {
    const std::u16string_view line = each.substr(0, each.find(u'\0'));
    if (line.find(key) == std::u16string_view::npos) {
      continue;
    }
    const std::u16string_view text = line.substr(0, line.find_first_of(u"\r\n"));
    const size_t equals = text.rfind(u'=');
    return equals == std::u16string_view::npos ? std::nullopt : std::optional(std::u16string(text.substr(equals + 1)));
  }
  return language == 0 ? std::nullopt : findString(lines, 0, id);
}

std::vector<StringFinding> checkStrings(const std::vector<std::u16string_view> &lines)
{
  std::vector<StringFinding> findings;
  std::unordered_map<std::u16string_view, size_t> firstLines;  // of each key that a lookup would find
  size_t number = 0;
  for (const std::u16string_view each : lines) {
    ++number;
    const std::u16string_view line = each.substr(0, each.find(u'\0'));
    const std::u16string_view key = leadingKey(line);
    if (!key.empty()) {
      const std::string name(key.begin(), key.end() - 1);
      if (const char *const why = unaskedFor(key)) {
        findings.push_back({number, "key " + name + ": " + why});
      } else if (const auto first = firstLines.find(key); first != firstLines.end()) {
        const bool repeated = leadingKey(lines[first->second - 1]) == key;
        findings.push_back({number, "key " + name + (repeated ? ": repeats line " : ": hidden by line ") +
                                        std::to_string(first->second)});
      }
    }
    if (!key.empty() && each.data() + each.size() == lines.back().data() + lines.back().size() &&
        !each.ends_with(u"\r\n")) {
      findings.push_back({number, "no line end: the last character is lost"});
    }
    forEachFoundKey(line, [&](std::u16string_view found) { firstLines.emplace(found, number); });
  }
  return findings;
}

}  // namespace qvctl
