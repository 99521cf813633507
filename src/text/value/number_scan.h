// Reading integers from text: the one loop of every reader, and how a sign and a range change its number.
#pragma once

#include <cctype>
#include <cstdint>
#include <limits>

#include "base/status.h"
#include "qvsupt32/strings.h"

namespace qv {

inline const char *skipSpace(const char *text)
{
  while (isspace(static_cast<unsigned char>(*text)) != 0) {
    ++text;
  }
  return text;
}

/// What precedes the digits of a number, and where they start.
struct Sign {
  bool negative;
  const char *digits;
};

inline Sign readSign(const char *text)
{
  const bool negative = *text == '-';
  const bool positive = *text == '+';
  return {negative, text + (negative || positive ? 1 : 0)};
}

/// The value of a digit; at least the radix for anything else.
template <unsigned kRadix>
constexpr unsigned digitValue(char c)
{
  static_assert(kRadix <= 16);
  const unsigned decimal = static_cast<unsigned>(c) - '0';
  if (kRadix <= 10 || decimal < 10) {
    return decimal;
  }
  const unsigned letter = (static_cast<unsigned>(c) | 0x20U) - 'a';
  return letter < 6 ? letter + 10 : kRadix;
}

/// The number that digits make, wrapped where it is larger than its type, and where they end.
template <class Unsigned>
struct Digits {
  Unsigned value = 0;
  bool wrapped = false;
  const char *end = nullptr;

  Unsigned clamped() const { return wrapped ? std::numeric_limits<Unsigned>::max() : value; }
};

/// Appends a digit to a number. True if the number wraps.
inline bool addDigit(uint32_t &number, unsigned radix, unsigned digit)
{
  const uint64_t longer = uint64_t{number} * radix + digit;
  number = static_cast<uint32_t>(longer);
  return longer > std::numeric_limits<uint32_t>::max();
}

inline bool addDigit(uint64_t &number, unsigned radix, unsigned digit)
{
  const bool wrapped = __builtin_mul_overflow(number, radix, &number);
  return __builtin_add_overflow(number, digit, &number) || wrapped;
}

/// Reads at most kCount digits, which make no number that is too large, and moves `text` past them. `scale` becomes the
/// power of the radix that they take.
template <unsigned kRadix, int kCount>
[[gnu::always_inline]] inline uint32_t readFewDigits(const char *&text, uint32_t &scale)
{
  uint32_t number = 0;
  scale = 1;
#pragma GCC unroll 9
  for (int i = 0; i < kCount; ++i, ++text) {
    const unsigned digit = digitValue<kRadix>(*text);
    if (digit >= kRadix) {
      break;
    }
    number = number * kRadix + digit;
    scale *= kRadix;
  }
  return number;
}

/// Appends the digits up to the first other character to a number.
template <unsigned kRadix, class Unsigned>
void appendDigits(const char *text, Digits<Unsigned> &digits)
{
  for (unsigned digit = digitValue<kRadix>(*text); digit < kRadix; digit = digitValue<kRadix>(*++text)) {
    digits.wrapped |= addDigit(digits.value, kRadix, digit);
  }
  digits.end = text;
}

/// Reads digits up to the first other character. Only decimal digits that can make the number wrap are added with a
/// check.
template <unsigned kRadix, class Unsigned>
Digits<Unsigned> readDigits(const char *text)
{
  Digits<Unsigned> digits;
  if constexpr (kRadix == 10) {
    constexpr int kFew = std::numeric_limits<uint32_t>::digits10;
    uint32_t scale;
    digits.value = readFewDigits<kRadix, kFew>(text, scale);
    if constexpr (sizeof(Unsigned) > sizeof(uint32_t)) {
      const uint32_t low = readFewDigits<kRadix, kFew>(text, scale);
      digits.value = digits.value * scale + low;
    }
  }
  appendDigits<kRadix>(text, digits);
  return digits;
}

/// As scanf(3) reads "%d" where long has 32 bits: a number beyond the range becomes its nearest end.
inline int32_t toSigned32(bool negative, const Digits<uint32_t> &digits)
{
  const uint32_t magnitude = digits.clamped();
  if (magnitude > uint32_t{INT32_MAX}) {
    return negative ? INT32_MIN : INT32_MAX;
  }
  return negative ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
}

/// As scanf(3) reads "%u" where long has 32 bits: a "-" takes the complement, unless the number is beyond the range.
inline uint32_t toUnsigned32(bool negative, const Digits<uint32_t> &digits)
{
  return negative && !digits.wrapped ? 0 - digits.value : digits.clamped();
}

/// Numbers of 64 bits wrap.
inline int64_t toSigned64(bool negative, const Digits<uint64_t> &digits)
{
  return static_cast<int64_t>(negative ? 0 - digits.value : digits.value);
}

/// The reader of these knows no "-", so the number ends there.
inline uint64_t toUnsigned64(bool negative, const Digits<uint64_t> &digits)
{
  return negative ? 0 : digits.value;
}

/// Reads a text that is an octal or hexadecimal number and nothing else, as a bit pattern. No other radix is valid.
template <class Unsigned>
[[gnu::noinline]] Status readPattern(const char *text, uint32_t radix, Unsigned &pattern)
{
  if (radix == 8 && IsASCIIOctalNum(text) == SM_STATUS_SUCCESS) {
    pattern = readDigits<8, Unsigned>(text).clamped();
    return Status::success;
  }
  if (radix == 16 && (IsASCIIHexNum(text, 1) == SM_STATUS_SUCCESS || IsASCIIHexNum(text, 0) == SM_STATUS_SUCCESS)) {
    const bool prefixed = text[0] == '0' && text[1] == 'x';
    pattern = readDigits<16, Unsigned>(prefixed ? text + 2 : text).clamped();
    return Status::success;
  }
  return Status::invalidParameter;
}

/// Reads a text that is a number of the radix and nothing else; it may have no digit at all. Leaves the number when it
/// is invalid.
template <class Number, class Unsigned>
Status readWhole(const char *text, uint32_t radix, Number &number, Number (*toNumber)(bool, const Digits<Unsigned> &))
{
  if (radix != 10 || text == nullptr || *text == '\0') {
    Unsigned pattern;
    const Status status = readPattern(text, radix, pattern);
    if (status == Status::success) {
      number = static_cast<Number>(pattern);
    }
    return status;
  }
  // What IsASCIIIntNum accepts, in one pass.
  const Sign sign = readSign(text);
  const auto digits = readDigits<10, Unsigned>(sign.digits);
  if (*digits.end != '\0') {
    return Status::invalidParameter;
  }
  number = toNumber(sign.negative, digits);
  return Status::success;
}

/// Reads white space, a sign and digits, whatever follows.
template <class Number, class Unsigned>
Number readDecimal(const char *text, Number (*toNumber)(bool, const Digits<Unsigned> &))
{
  const Sign sign = readSign(skipSpace(text));
  return toNumber(sign.negative, readDigits<10, Unsigned>(sign.digits));
}

}  // namespace qv
