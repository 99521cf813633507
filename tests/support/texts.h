// Texts under test: as the bytes of UTF-16 and back, and what is in them how often.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <string_view>

namespace support {

/// The bytes of UTF-16 text, low byte first.
inline std::string utf16(std::u16string_view text)
{
  return {reinterpret_cast<const char *>(text.data()), text.size() * 2};
}

inline std::string utf16(const std::string &latin1)
{
  std::u16string text;
  for (const char character : latin1) {
    text += static_cast<unsigned char>(character);
  }
  return utf16(text);
}

/// The other way, up to the terminator.
inline std::string latin1(const char16_t *text)
{
  std::string bytes;
  for (; *text != 0; ++text) {
    bytes += *text < 0x100 ? static_cast<char>(*text) : '?';
  }
  return bytes;
}

/// How often each text between two marks occurs.
inline std::map<std::string, int> between(const std::string &text, const std::string &begin, const std::string &end)
{
  std::map<std::string, int> found;
  for (size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
    at += begin.size();
    ++found[text.substr(at, text.find(end, at) - at)];
  }
  return found;
}

/// How often a text occurs in another.
inline size_t count(const std::string &text, const std::string &piece)
{
  size_t found = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + piece.size())) {
    ++found;
  }
  return found;
}

}  // namespace support
