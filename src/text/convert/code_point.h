// Characters as 32-bit code points: the one decoder and the one encoder of UTF-8 and of UTF-16, which everything that
// measures or converts text is made of.
//
// UTF-8 is the six-byte form of RFC 2279, read leniently: a form may be longer than its value needs, and whatever
// follows its first byte only has to be nonzero, so that no decoder looks past a terminator.
#pragma once

#include <bit>
#include <cstdint>

namespace qv::text {

constexpr uint32_t kUtf8Max = 0x7FFFFFFF;
constexpr uint32_t kUtf16Max = 0x10FFFF;
constexpr uint32_t kBeyondUnit = 0x10000;  // the first code point that takes two units of UTF-16

constexpr uint32_t kHighSurrogate = 0xD800;
constexpr uint32_t kLowSurrogate = 0xDC00;
constexpr uint32_t kSurrogateMask = 0xFC00;  // distinguishes the two kinds from each other and from the rest

/// One character read: its value, and the bytes or units that it takes. Length 0 means that it is malformed.
struct Character {
  uint32_t codePoint;
  uint32_t length;
};

inline Character decodeUtf8(const char *at)
{
  const auto byte = [at](int i) { return static_cast<uint8_t>(at[i]); };
  constexpr int kLongestForm = 6;
  const int form = std::countl_one(byte(0));
  if (form == 0) {
    return {byte(0), 1};
  }
  if (form == 1 || form > kLongestForm) {
    return {0, 0};
  }
  uint32_t codePoint = byte(0) & (0x7FU >> form);
  for (int i = 1; i < form; ++i) {
    if (byte(i) == 0) {
      return {0, 0};
    }
    codePoint = codePoint << 6 | (byte(i) & 0x3FU);
  }
  return {codePoint, static_cast<uint32_t>(form)};
}

/// The bytes of a code point, 0 above kUtf8Max.
constexpr uint32_t utf8Length(uint32_t codePoint)
{
  if (codePoint < 0x80) {
    return 1;
  }
  if (codePoint > kUtf8Max) {
    return 0;
  }
  // A form of n bytes, two or more, holds 5 n + 1 bits.
  return static_cast<uint32_t>(codePoint < 0x800 ? 2 : (std::bit_width(codePoint) + 3) / 5);
}

/// Writes the utf8Length() bytes of a code point.
inline void encodeUtf8(uint32_t codePoint, uint32_t length, char *out)
{
  if (length == 1) {
    *out = static_cast<char>(codePoint);
    return;
  }
  for (uint32_t i = length - 1; i > 0; --i) {
    out[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
    codePoint >>= 6;
  }
  *out = static_cast<char>(0xFF00U >> length | codePoint);
}

/// A surrogate that is not half of a pair comes back as {that surrogate, 0}.
inline Character decodeUtf16(const char16_t *at)
{
  const uint32_t unit = at[0];
  if ((unit & kSurrogateMask) == kHighSurrogate && (at[1] & kSurrogateMask) == kLowSurrogate) {
    return {kBeyondUnit + ((unit & 0x3FF) << 10 | (at[1] & 0x3FFU)), 2};
  }
  const bool surrogate = (unit & kSurrogateMask) == kHighSurrogate || (unit & kSurrogateMask) == kLowSurrogate;
  return {unit, surrogate ? 0U : 1U};
}

/// The units of a code point, 0 above kUtf16Max.
constexpr uint32_t utf16Length(uint32_t codePoint)
{
  if (codePoint < kBeyondUnit) {
    return 1;
  }
  return codePoint > kUtf16Max ? 0 : 2;
}

/// Writes the utf16Length() units of a code point.
inline void encodeUtf16(uint32_t codePoint, uint32_t length, char16_t *out)
{
  if (length == 1) {
    *out = static_cast<char16_t>(codePoint);
    return;
  }
  out[0] = static_cast<char16_t>(kHighSurrogate + ((codePoint - kBeyondUnit) >> 10));
  out[1] = static_cast<char16_t>(kLowSurrogate | (codePoint & 0x3FF));
}

}  // namespace qv::text
