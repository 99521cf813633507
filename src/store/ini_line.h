// What the lines of an INI file say: the one place that tells headers, comments and key lines apart. Takes texts as
// textOf() gives them.
#pragma once

#include <string_view>

namespace qv {

/// The longest name of a section or key, without a terminator. A longer one in a header names no section.
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

/// Whether a text without its leading blanks is a header, well-formed or not.
inline bool opensHeader(std::string_view body)
{
  return !body.empty() && body.front() == '[';
}

enum class Header { none, named, malformed };

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

/// The key of a text without its leading blanks: all of it where it has no "=".
inline std::string_view keyOf(std::string_view body)
{
  const size_t equals = body.find('=');
  return equals == std::string_view::npos ? body : std::string_view(body.data(), equals);
}

}  // namespace qv
