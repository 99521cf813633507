// The grammar of INI files: the one place that distinguishes headers, comments and key lines. A text is what textOf()
// gives for a line, a body is a text without its leading blanks.
#pragma once

#include <string_view>

#include "base/status.h"
#include "store/line_reader.h"

namespace qv {

/// The longest name of a section or key, without a terminator. A longer one in a header is no section's.
constexpr size_t kLongestIniName = 255;

inline std::string_view skipBlanks(std::string_view text)
{
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
    text.remove_prefix(1);
  }
  return text;
}

inline bool isIniComment(std::string_view text)
{
  return !text.empty() && (text.front() == ';' || text.front() == '#');
}

/// Whether a body is a header, well-formed or not.
inline bool opensHeader(std::string_view body)
{
  return !body.empty() && body.front() == '[';
}

enum class Header { none, named, malformed };  // malformed: without "]"

/// Takes the name of a section from its header.
inline Header parseHeader(std::string_view text, std::string_view &name)
{
  const std::string_view body = skipBlanks(text);
  if (!opensHeader(body)) {
    return Header::none;
  }
  const size_t end = body.find(']');
  if (end == std::string_view::npos) {
    return Header::malformed;
  }
  name = {body.data() + 1, end - 1};
  return name.size() <= kLongestIniName ? Header::named : Header::none;
}

/// Whether a line is the header of a section: success, badIniFile for a malformed header, sectionNotFound for any other
/// line.
inline Status matchHeader(std::string_view line, std::string_view section)
{
  std::string_view name;
  const Header header = parseHeader(textOf(line), name);
  if (header == Header::malformed) {
    return Status::badIniFile;
  }
  return header == Header::named && name == section ? Status::success : Status::sectionNotFound;
}

/// The line that ends a section, among lines inside of it; empty, at their end, if there is none.
inline std::string_view findSectionEnd(std::string_view lines)
{
  return findLine(lines, "[", [](std::string_view line) { return opensHeader(skipBlanks(line)); });
}

/// Finds the header of a section, or a malformed header before it, among whole lines: the line and `status` of
/// matchHeader. Empty, at their end, if there is none.
inline std::string_view findHeader(std::string_view lines, std::string_view section, Status &status)
{
  return findLine(lines, "[", [&](std::string_view line) {
    status = matchHeader(line, section);
    return status != Status::sectionNotFound;
  });
}

/// The key of a body: all of it if it has no "=".
inline std::string_view keyOf(std::string_view body)
{
  const size_t equals = body.find('=');
  return equals == std::string_view::npos ? body : std::string_view(body.data(), equals);
}

}  // namespace qv
