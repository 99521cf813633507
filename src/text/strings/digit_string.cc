// Digit strings: integers written in a radix, and the check of number text. Nothing here depends on the locale.

#include <bit>
#include <charconv>

#include "base/status.h"
#include "base/text.h"
#include "qvsupt32/strings.h"

namespace {

using qv::Status;

constexpr size_t kDigitsMost = 33;  // base 2 with a terminator

/// Writes a number in a radix of std::to_chars with its terminator, and returns the number of characters.
template <class Number>
intptr_t writeDigits(char *dst, Number value, int radix)
{
  char *end = std::to_chars(dst, dst + kDigitsMost - 1, value, radix).ptr;
  *end = 0;
  return end - dst;
}

/// Whether a character is one of a range.
bool isBetween(char c, char first, char last)
{
  return c >= first && c <= last;
}

/// Success if s is neither null nor empty and every byte after the first prefixLength(s) is a digit.
template <class PrefixLength, class IsDigit>
uint32_t checkDigits(const char *s, PrefixLength prefixLength, IsDigit isDigit)
{
  if (s == nullptr || *s == 0) {
    return result(Status::invalidParameter);
  }
  for (s += prefixLength(s); *s != 0; ++s) {
    if (!isDigit(*s)) {
      return result(Status::invalidParameter);
    }
  }
  return result(Status::success);
}

}  // namespace

intptr_t ltostr(char *dst, int32_t value, int32_t radix)
{
  switch (radix) {
    case 2:
      return reinterpret_cast<intptr_t>(dec2bin(dst, value));
    case 8:
    case 16:
      return writeDigits(dst, static_cast<uint32_t>(value), radix);
    default:
      return writeDigits(dst, value, 10);
  }
}

char *dec2bin(char *dst, int32_t value)
{
  const auto pattern = static_cast<uint32_t>(value);
  char *at = dst;
  for (uint32_t bit = std::bit_floor(pattern); bit != 0; bit >>= 1) {
    *at++ = (pattern & bit) != 0 ? '1' : '0';
  }
  *at = 0;
  return dst;
}

uint32_t IsASCIIIntNum(const char *s, SMBool allowSign)
{
  return checkDigits(
      s, [&](const char *text) { return allowSign != 0 && (*text == '-' || *text == '+') ? 1 : 0; },
      qv::isDecimalDigit);
}

uint32_t IsASCIIHexNum(const char *s, SMBool lowerCase)
{
  const char letter = lowerCase != 0 ? 'a' : 'A';
  return checkDigits(
      s, [](const char *text) { return text[0] == '0' && text[1] == 'x' ? 2 : 0; },
      [&](char c) { return qv::isDecimalDigit(c) || isBetween(c, letter, static_cast<char>(letter + 5)); });
}

uint32_t IsASCIIOctalNum(const char *s)
{
  return checkDigits(
      s, [](const char *) { return 0; }, [](char c) { return isBetween(c, '0', '7'); });
}
