// Reading integers from text: the one loop behind every reader.
#pragma once

#include <cctype>
#include <cstdint>
#include <limits>

namespace qv {

inline const char *skipSpace(const char *text)
{
  while (isspace(static_cast<unsigned char>(*text)) != 0) {
    ++text;
  }
  return text;
}

/// What stands before the digits of a number, and where they start.
struct Sign {
  bool negative;
  const char *digits;
};

inline Sign readSign(const char *text)
{
  const bool negative = *text == '-';
  return {negative, negative || *text == '+' ? text + 1 : text};
}

/// The value of a digit of any radix up to 16, 255 for anything else.
constexpr unsigned digitValue(char c)
{
  if (c >= '0' && c <= '9') {
    return static_cast<unsigned>(c - '0');
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 255;
}

/// The number that the digits make, as large as the type allows.
template <class Unsigned>
Unsigned readDigits(const char *text, unsigned radix)
{
  constexpr Unsigned kMax = std::numeric_limits<Unsigned>::max();
  Unsigned value = 0;
  for (unsigned digit = digitValue(*text); digit < radix; digit = digitValue(*++text)) {
    if (value > kMax / radix || value * radix > kMax - digit) {
      return kMax;
    }
    value = static_cast<Unsigned>(value * radix + digit);
  }
  return value;
}

/// As scanf(3) reads "%d" where long has 32 bits: a number beyond the range becomes its nearest end.
inline int32_t readSigned32(const char *text)
{
  const Sign sign = readSign(skipSpace(text));
  const auto magnitude = readDigits<uint32_t>(sign.digits, 10);
  if (sign.negative) {
    return magnitude > uint32_t{INT32_MAX} ? INT32_MIN : -static_cast<int32_t>(magnitude);
  }
  return magnitude > uint32_t{INT32_MAX} ? INT32_MAX : static_cast<int32_t>(magnitude);
}

/// As scanf(3) reads "%u" where long has 32 bits: a "-" takes the complement, unless the number is beyond the range.
inline uint32_t readUnsigned32(const char *text)
{
  const Sign sign = readSign(skipSpace(text));
  const auto magnitude = readDigits<uint64_t>(sign.digits, 10);
  if (magnitude > UINT32_MAX) {
    return UINT32_MAX;
  }
  return static_cast<uint32_t>(sign.negative ? 0 - magnitude : magnitude);
}

}  // namespace qv
