// Zero-terminated text a block of sixteen bytes at a time (SSE2, which the library requires).
//
// The end of a text is found in aligned blocks: such a block never crosses into another page, and it is loaded only when
// it holds at least one unit of the text, so it faults no more than the text itself would. Bits of other bytes are
// shifted out or lie after the unit that decides. Everything else loads only what is known to be text.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv::text {

constexpr size_t kBlockSize = sizeof(__m128i);
constexpr size_t kNoLimit = SIZE_MAX;

// The sanitizers take every byte of a loaded block for a byte that is used. Their builds look for the end of a text unit
// by unit, so that they see each read that goes past it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QV_TEXT_BY_UNITS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define QV_TEXT_BY_UNITS 1
#endif
#endif
#ifdef QV_TEXT_BY_UNITS
constexpr bool kByUnits = true;
#else
constexpr bool kByUnits = false;
#endif

/// Loads a block at a block boundary, see above.
inline __m128i loadAligned(const void *at)
{
  return _mm_load_si128(static_cast<const __m128i *>(at));
}

/// Loads a block that is all text.
inline __m128i load16(const void *at)
{
  return _mm_loadu_si128(static_cast<const __m128i *>(at));
}

inline void store16(void *at, __m128i block)
{
  _mm_storeu_si128(static_cast<__m128i *>(at), block);
}

/// The highest bit of each byte, the first byte's in the lowest bit.
inline uint32_t highBits(__m128i block)
{
  return static_cast<uint32_t>(_mm_movemask_epi8(block));
}

constexpr uint32_t kAllBytes = 0xFFFF;

/// All ones in every unit that is equal.
template <class Unit>
__m128i equalUnits(__m128i a, __m128i b)
{
  static_assert(sizeof(Unit) <= 2);
  return sizeof(Unit) == 1 ? _mm_cmpeq_epi8(a, b) : _mm_cmpeq_epi16(a, b);
}

/// All ones in every unit that is a terminator.
template <class Unit>
__m128i terminators(__m128i block)
{
  return equalUnits<Unit>(block, _mm_setzero_si128());
}

/// The bytes from the last block boundary to an address.
inline size_t offsetInBlock(const void *at)
{
  return reinterpret_cast<uintptr_t>(at) % kBlockSize;
}

/// The number of units, at most `limit`, before the first one at which to stop. `stop` maps a block to all ones in the
/// units at which to stop; the terminator must be one of them. Units at an odd address, as packed records have them,
/// straddle blocks and are read one by one. Without a limit the compiler drops what looks at it.
template <class Unit, class Stop>
size_t scan(const Unit *s, size_t limit, Stop stop)
{
  const size_t offset = offsetInBlock(s);
  if (kByUnits || offset % sizeof(Unit) != 0) {
    size_t length = 0;
    while (length < limit && (highBits(stop(_mm_cvtsi32_si128(s[length]))) & 1U) == 0) {
      ++length;
    }
    return length;
  }
  if (limit == 0) {
    return 0;
  }
  const Unit *block = s - offset / sizeof(Unit);
  uint32_t stops = highBits(stop(loadAligned(block))) >> offset << offset;
  while (stops == 0) {
    block += kBlockSize / sizeof(Unit);
    if (limit != kNoLimit && static_cast<size_t>(block - s) >= limit) {
      return limit;
    }
    stops = highBits(stop(loadAligned(block)));
  }
  const Unit *found = block + static_cast<size_t>(std::countr_zero(stops)) / sizeof(Unit);
  const auto length = static_cast<size_t>(found - s);
  return limit == kNoLimit ? length : std::min(limit, length);
}

/// The number of units before the terminator, at most `limit`.
template <class Unit>
size_t lengthUpTo(const Unit *s, size_t limit = kNoLimit)
{
  return scan(s, limit, [](__m128i units) { return terminators<Unit>(units); });
}

/// The number of units before the first one at which two strings differ or both end.
template <class Unit>
size_t commonLength(const Unit *s, const Unit *t)
{
  constexpr size_t kUnits = kBlockSize / sizeof(Unit);
  size_t length = 0;
  const auto goesOn = [&] { return s[length] == t[length] && s[length] != 0; };
  if (!kByUnits) {
    while (offsetInBlock(s + length) != 0 && goesOn()) {
      ++length;
    }
    const bool aligned = offsetInBlock(t + length) == 0;
    // t may differ before it ends: it is looked through no further than the block of s that is next.
    const Unit *known = t + length;
    const auto reaches = [&known](const Unit *end) {
      known += lengthUpTo(known, static_cast<size_t>(end - known));
      return known == end;
    };
    while (offsetInBlock(s + length) == 0 && (aligned || reaches(t + length + kUnits))) {
      const __m128i a = loadAligned(s + length);
      const __m128i b = aligned ? loadAligned(t + length) : load16(t + length);
      const uint32_t goOn = highBits(_mm_andnot_si128(terminators<Unit>(a), equalUnits<Unit>(a, b)));
      if (goOn != kAllBytes) {
        return length + static_cast<size_t>(std::countr_one(goOn)) / sizeof(Unit);
      }
      length += kUnits;
    }
  }
  while (goesOn()) {
    ++length;
  }
  return length;
}

}  // namespace qv::text
