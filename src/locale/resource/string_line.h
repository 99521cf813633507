// What a line of a string-resource file is: one rule for the exported line reader and for the lookup.
#pragma once

#include <bit>
#include <cstddef>

#include "base/block.h"
#include "qvsupt32/types.h"

namespace qv::locale {

/// The capacity that lines are read with, in units.
constexpr size_t kLineUnits = 1024;

constexpr SMChar16 kCarriageReturn = u'\r';
constexpr SMChar16 kLineFeed = u'\n';

/// The first place where one unit is followed by another; the end if there is none. Compares blocks of units.
inline const SMChar16 *findPair(const SMChar16 *at, const SMChar16 *end, SMChar16 first, SMChar16 second)
{
  constexpr ptrdiff_t kUnits = text::kBlockSize / sizeof(SMChar16);
  const __m128i firsts = _mm_set1_epi16(static_cast<short>(first));
  const __m128i seconds = _mm_set1_epi16(static_cast<short>(second));
  for (; end - at > kUnits; at += kUnits) {
    const __m128i pairs = _mm_and_si128(text::equalUnits<SMChar16>(text::load16(at), firsts),
                                        text::equalUnits<SMChar16>(text::load16(at + 1), seconds));
    if (const uint32_t mask = text::highBits(pairs); mask != 0) {
      return at + static_cast<size_t>(std::countr_zero(mask)) / sizeof(SMChar16);
    }
  }
  for (; end - at >= 2; ++at) {
    if (at[0] == first && at[1] == second) {
      return at;
    }
  }
  return end;
}

/// The length of the line at the front of `count` units, at least two, that were read into `capacity` units. The next
/// line starts where it ends. A line that has no end among them, or whose end leaves no space for the terminator, ends
/// before the last unit that was read.
inline size_t lineLength(const SMChar16 *units, size_t count, size_t capacity)
{
  const SMChar16 *lineEnd = findPair(units, units + count, kCarriageReturn, kLineFeed);
  const size_t length = static_cast<size_t>(lineEnd - units) + 2;
  return lineEnd != units + count && length < capacity ? length : count - 1;
}

}  // namespace qv::locale
