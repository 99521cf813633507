// The contents of INI and key=value files, read by the library's rules: for listings, which are one snapshot, and for
// checks that the library does not make.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvctl {

/// Calls take(line) for each line: up to the next line feed, or the next 8449 bytes where there is none so soon. What a
/// line says ends before the line feed and before a zero byte.
template <class Take>
void forEachLine(std::string_view content, Take take)
{
  constexpr size_t kLongestLine = 8449;
  while (!content.empty()) {
    const size_t feed = content.substr(0, kLongestLine).find('\n');
    const std::string_view line = content.substr(0, feed == std::string_view::npos ? kLongestLine : feed + 1);
    content.remove_prefix(line.size());
    take(line.substr(0, line.find_first_of(std::string_view("\n\0", 2))));
  }
}

struct IniSection {
  std::string_view name;
  std::vector<std::pair<std::string_view, std::string_view>> entries;  // keys and values, in the file's order
};

struct IniFile {
  std::vector<IniSection> sections;  // in the file's order; names may occur several times
  bool malformed = false;            // a header without its bracket follows: no section is found from there on

  /// The first section of that name.
  const IniSection *find(std::string_view name) const;
};

/// The result refers to the content.
IniFile parseIni(std::string_view content);

/// The value of the first key of that name in the first section of that name.
std::optional<std::string_view> findIniValue(const IniFile &file, std::string_view section, std::string_view key);

/// The entries of a key=value file in their normal form, in the file's order.
std::vector<std::pair<std::string, std::string>> parseKeyValues(std::string_view content);

}  // namespace qvctl
