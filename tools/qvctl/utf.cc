// See utf.h.

#include "utf.h"

#include <cstdint>

namespace qvctl {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstBeyondUnits = 0x10000;
constexpr char32_t kLast = 0x10FFFF;

constexpr bool isHighHalf(char32_t unit)
{
  return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool isLowHalf(char32_t unit)
{
  return unit >= 0xDC00 && unit < 0xE000;
}

void appendUtf8(std::string &text, char32_t character)
{
  const auto byte = [&text](char32_t value) { text += static_cast<char>(value); };
  if (character < 0x80) {
    byte(character);
  } else if (character < 0x800) {
    byte(0xC0 | character >> 6);
    byte(0x80 | (character & 0x3F));
  } else if (character < kFirstBeyondUnits) {
    byte(0xE0 | character >> 12);
    byte(0x80 | (character >> 6 & 0x3F));
    byte(0x80 | (character & 0x3F));
  } else {
    byte(0xF0 | character >> 18);
    byte(0x80 | (character >> 12 & 0x3F));
    byte(0x80 | (character >> 6 & 0x3F));
    byte(0x80 | (character & 0x3F));
  }
}

/// Takes the first character off a text. Nothing when it is malformed, or longer than it has to be.
std::optional<char32_t> takeCharacter(std::string_view &text)
{
  const auto first = static_cast<unsigned char>(text.front());
  const size_t length = first < 0x80   ? 1
                        : first < 0xC2 ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  if (length == 0 || length > text.size()) {
    return std::nullopt;
  }
  char32_t character = length == 1 ? first : first & (0xFFu >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) {
      return std::nullopt;
    }
    character = character << 6 | (next & 0x3F);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < kFirstBeyondUnits);
  if (overlong || character > kLast || isHighHalf(character) || isLowHalf(character)) {
    return std::nullopt;
  }
  text.remove_prefix(length);
  return character;
}

}  // namespace

std::optional<std::u16string> toUtf16(std::string_view text)
{
  std::u16string units;
  while (!text.empty()) {
    const std::optional<char32_t> character = takeCharacter(text);
    if (!character) {
      return std::nullopt;
    }
    if (*character < kFirstBeyondUnits) {
      units += static_cast<char16_t>(*character);
    } else {
      units += static_cast<char16_t>(0xD800 + ((*character - kFirstBeyondUnits) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((*character - kFirstBeyondUnits) & 0x3FF));
    }
  }
  return units;
}

std::string toUtf8(std::u16string_view text)
{
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (isHighHalf(character) && i + 1 < text.size() && isLowHalf(text[i + 1])) {
      character = kFirstBeyondUnits + ((character - 0xD800) << 10) + (text[i + 1] - 0xDC00u);
      ++i;
    } else if (isHighHalf(character) || isLowHalf(character)) {
      character = kReplacement;
    }
    appendUtf8(bytes, character);
  }
  return bytes;
}

std::u16string unitsOf(std::string_view bytes)
{
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                   static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8);
  }
  return units;
}

}  // namespace qvctl
