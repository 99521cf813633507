// See settings_file.h.

#include "settings_file.h"

#include <algorithm>

namespace qvctl {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBlanksAndLineEnds = " \t\r\n";
constexpr size_t kLongestName = 255;

std::string withoutQuotes(std::string_view text)
{
  std::string rest;
  std::copy_if(text.begin(), text.end(), std::back_inserter(rest), [](char c) { return c != '"'; });
  return rest;
}

/// The part of a line up to its value: blanks go unless double quotes surround them, then the quotes go.
std::string normalPrefix(std::string_view prefix)
{
  std::string normal;
  bool quoted = false;
  for (const char c : prefix) {
    if (c == '"') {
      quoted = !quoted;
    } else if (quoted || kBlanksAndLineEnds.find(c) == std::string_view::npos) {
      normal += c;
    }
  }
  return normal;
}

}  // namespace

const IniSection *IniFile::find(std::string_view name) const
{
  const auto found =
      std::find_if(sections.begin(), sections.end(), [name](const IniSection &each) { return each.name == name; });
  return found == sections.end() ? nullptr : &*found;
}

IniFile parseIni(std::string_view content)
{
  IniFile file;
  bool inSection = false;  // not before the first header, nor after one whose name is too long
  forEachLine(content, [&](std::string_view line) {
    if (file.malformed || line.empty() || line[0] == ';' || line[0] == '#') {
      return;
    }
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (!line.empty() && line[0] == '[') {
      const size_t end = line.find(']');
      file.malformed = end == std::string_view::npos;
      inSection = !file.malformed && end - 1 <= kLongestName;
      if (inSection) {
        file.sections.push_back({line.substr(1, end - 1), {}});
      }
      return;
    }
    const size_t equals = line.find('=');
    if (inSection && equals != std::string_view::npos) {
      file.sections.back().entries.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
  });
  return file;
}

std::optional<std::string_view> findIniValue(const IniFile &file, std::string_view section, std::string_view key)
{
  const IniSection *const found = file.find(section);
  if (found == nullptr) {
    return std::nullopt;
  }
  for (const auto &[name, value] : found->entries) {
    if (name == key) {
      return value;
    }
  }
  return std::nullopt;
}

std::vector<std::pair<std::string, std::string>> parseKeyValues(std::string_view content)
{
  std::vector<std::pair<std::string, std::string>> entries;
  forEachLine(content, [&entries](std::string_view line) {
    size_t valueAt = line.find('=');
    if (valueAt == std::string_view::npos) {
      return;
    }
    valueAt = std::min(line.find_first_not_of(kBlanks, valueAt + 1), line.size());
    std::string_view value = line.substr(valueAt);
    value = value.substr(0, value.find_last_not_of(kBlanksAndLineEnds) + 1);
    const std::string normal = normalPrefix(line.substr(0, valueAt)) + withoutQuotes(value);
    if (normal[0] == '#' || normal[0] == ';') {
      return;
    }
    const size_t equals = normal.find('=');
    entries.emplace_back(normal.substr(0, equals), normal.substr(equals + 1));
  });
  return entries;
}

}  // namespace qvctl
