// Searches for short texts in blocks of lines. memmem(3) prepares a table first, which costs more than the whole search
// of a small settings file (bench rows ini/read/10).
#pragma once

#include <bit>
#include <cstring>
#include <string_view>

#include "base/block.h"

namespace qv {

/// The index of the first occurrence of a text, or npos.
inline size_t findText(std::string_view in, std::string_view text)
{
  if (text.size() < 2 || text.size() > in.size()) {
    return in.find(text);
  }
  const size_t last = text.size() - 1;
  const size_t places = in.size() - last;
  const __m128i firstBytes = _mm_set1_epi8(text.front());
  const __m128i lastBytes = _mm_set1_epi8(text.back());
  const auto isAt = [&](size_t at) { return memcmp(in.data() + at + 1, text.data() + 1, last) == 0; };
  size_t at = 0;
  for (; places - at >= text::kBlockSize; at += text::kBlockSize) {
    const char *const block = in.data() + at;
    const __m128i isFirst = text::equalUnits<char>(text::load16(block), firstBytes);
    const __m128i isLast = text::equalUnits<char>(text::load16(block + last), lastBytes);
    for (uint32_t both = text::highBits(_mm_and_si128(isFirst, isLast)); both != 0; both &= both - 1) {
      const size_t place = at + static_cast<size_t>(std::countr_zero(both));
      if (isAt(place)) {
        return place;
      }
    }
  }
  for (; at < places; ++at) {
    if (in[at] == text.front() && isAt(at)) {
      return at;
    }
  }
  return std::string_view::npos;
}

}  // namespace qv
