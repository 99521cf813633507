// What several rooms ask of a text: its length, its digits.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "base/block.h"
#include "qvsupt32/types.h"

namespace qv {

inline constexpr char kUpperHexDigits[] = "0123456789ABCDEF";
inline constexpr char kLowerHexDigits[] = "0123456789abcdef";

/// The code units of a UCS-2 text in front of its terminator. Reads whole aligned blocks, so that no block reaches into
/// a page that the text does not.
inline size_t ucs2Length(const SMChar16 *start)
{
  if (text::offsetInBlock(start) % sizeof(SMChar16) != 0) {  // units that straddle blocks: one at a time
    size_t length = 0;
    while (start[length] != 0) {
      ++length;
    }
    return length;
  }
  const size_t offset = text::offsetInBlock(start);
  const SMChar16 *block = start - offset / sizeof(SMChar16);
  uint32_t ends = text::highBits(text::terminators<SMChar16>(text::loadAlignedBlock(block))) >> offset;
  if (ends != 0) {
    return static_cast<size_t>(std::countr_zero(ends)) / sizeof(SMChar16);
  }
  do {
    block += text::kBlockSize / sizeof(SMChar16);
    ends = text::highBits(text::terminators<SMChar16>(text::loadAlignedBlock(block)));
  } while (ends == 0);
  return static_cast<size_t>(block - start) + static_cast<size_t>(std::countr_zero(ends)) / sizeof(SMChar16);
}

/// The same, null counting as empty.
inline size_t ucs2LengthOrZero(const SMChar16 *text)
{
  return text == nullptr ? 0 : ucs2Length(text);
}

/// Whether a character is a decimal digit, whatever the locale.
constexpr bool isDecimalDigit(char c)
{
  return c >= '0' && c <= '9';
}

}  // namespace qv
