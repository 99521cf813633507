// What several rooms ask of a text: its length, its digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/block.h"
#include "qvsupt32/types.h"

namespace qv {

inline constexpr char kUpperHexDigits[] = "0123456789ABCDEF";
inline constexpr char kLowerHexDigits[] = "0123456789abcdef";

/// The code units of a UCS-2 text before its terminator.
inline size_t ucs2Length(const SMChar16 *text)
{
  return text::lengthUpTo(text);
}

/// The same, null counting as empty.
inline size_t ucs2LengthOrZero(const SMChar16 *text)
{
  return text == nullptr ? 0 : ucs2Length(text);
}

constexpr size_t kCopyUpToMax = 32;

/// Copies up to 32 bytes, in two moves that overlap each other.
inline void copyUpTo32(void *to, const void *from, size_t size)
{
  auto *out = static_cast<char *>(to);
  const auto *in = static_cast<const char *>(from);
  if (size >= 16) {
    text::store16(out, text::load16(in));
    text::store16(out + size - 16, text::load16(in + size - 16));
  } else if (size >= 8) {
    memcpy(out, in, 8);
    memcpy(out + size - 8, in + size - 8, 8);
  } else if (size >= 4) {
    memcpy(out, in, 4);
    memcpy(out + size - 4, in + size - 4, 4);
  } else if (size != 0) {
    out[0] = in[0];
    out[size / 2] = in[size / 2];
    out[size - 1] = in[size - 1];
  }
}

/// Copies bytes, most of the time few, for which a call of memcpy(3) would cost more than the moves.
inline void copyShort(void *to, const void *from, size_t size)
{
  if (size <= kCopyUpToMax) {
    copyUpTo32(to, from, size);
  } else {
    memcpy(to, from, size);
  }
}

/// The halves of a surrogate pair.
constexpr bool isHighSurrogate(SMChar16 unit)
{
  return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool isLowSurrogate(SMChar16 unit)
{
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// Whether a character is a decimal digit, whatever the locale.
constexpr bool isDecimalDigit(char c)
{
  return c >= '0' && c <= '9';
}

}  // namespace qv
