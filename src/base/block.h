// Text a block of sixteen bytes at a time (SSE2, which the library requires) although nobody told where it ends.
//
// A block may hold bytes in front of a text or behind its end, which decide nothing. It faults no more than the text
// itself would: either it starts at a block boundary and has part of the text, so that it lies in a page of it, or
// canLoadBlock says that it may be loaded.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv::text {

constexpr size_t kBlockSize = sizeof(__m128i);
constexpr uintptr_t kPageSize = 4096;

// Loading, storing, comparing ---------------------------------------------------------------------------------------

/// Loads a block that begins where a text goes on, see canLoadBlock. The sanitizers would take the bytes behind its end
/// for bytes that are used.
__attribute__((no_sanitize("address", "thread"))) inline __m128i loadBlock(const void *at)
{
  return _mm_loadu_si128(static_cast<const __m128i *>(at));
}

/// The same at a block boundary, with at least one byte of the text anywhere in the block.
__attribute__((no_sanitize("address", "thread"))) inline __m128i loadAlignedBlock(const void *at)
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

/// One bit a byte, from the lowest address up: its highest bit.
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

// Where blocks can be loaded ----------------------------------------------------------------------------------------

/// The bytes from the last block boundary to an address.
inline size_t offsetInBlock(const void *at)
{
  return reinterpret_cast<uintptr_t>(at) % kBlockSize;
}

/// The bytes from an address, itself included, to the end of its page.
inline size_t leftInPage(const void *at)
{
  return kPageSize - reinterpret_cast<uintptr_t>(at) % kPageSize;
}

/// Whether the text goes on into the next page, seen from one of the last bytes of a page.
template <class Unit>
bool reachesNextPage(const Unit *at)
{
  const size_t left = leftInPage(at);
  const __m128i last = loadBlock(reinterpret_cast<const char *>(at) + left - kBlockSize);
  uint32_t zeros = highBits(terminators<char>(last)) >> (kBlockSize - left);
  if (sizeof(Unit) == 2) {
    zeros &= zeros >> 1 & 0x5555;  // units may start at an odd address
  }
  return zeros == 0;
}

/// Whether a block can be loaded where a text goes on.
template <class Unit>
bool canLoadBlock(const Unit *at)
{
  return leftInPage(at) >= kBlockSize || reachesNextPage(at);
}

/// Tells how far a string goes on, without touching a block that it does not reach.
template <class Unit>
class EndWatch {
 public:
  /// The string starts at a multiple of the size of its units.
  explicit EndWatch(const Unit *s) : noEndBefore_(s) {}

  /// Whether all units in front of an address belong to the string, none is its terminator.
  bool goesOnTo(const Unit *end)
  {
    while (noEndBefore_ < end) {
      const size_t offset = offsetInBlock(noEndBefore_);
      const Unit *block = noEndBefore_ - offset / sizeof(Unit);
      if (highBits(terminators<Unit>(loadAlignedBlock(block))) >> offset != 0) {
        return false;
      }
      noEndBefore_ = block + kBlockSize / sizeof(Unit);
    }
    return true;
  }

 private:
  const Unit *noEndBefore_;
};

// Strings as a whole ------------------------------------------------------------------------------------------------

/// The number of units, at most limit, in front of the first one at which the folded strings differ or s ends. Fold
/// maps a unit and a block of units, the terminator to itself.
template <class Unit, class Fold>
size_t commonLength(const Unit *s, const Unit *t, size_t limit, Fold fold)
{
  constexpr size_t kUnits = kBlockSize / sizeof(Unit);
  size_t i = 0;
  const auto goesOn = [&] { return fold(s[i]) == fold(t[i]) && s[i] != 0; };
  while (i < limit && offsetInBlock(s + i) != 0) {
    if (!goesOn()) {
      return i;
    }
    ++i;
  }
  const bool aligned = offsetInBlock(t + i) == 0;
  const bool watched = offsetInBlock(t + i) % sizeof(Unit) == 0;
  EndWatch<Unit> watch(t + i);
  while (i < limit && (aligned || (watched && limit - i >= kUnits && watch.goesOnTo(t + i + kUnits)))) {
    const __m128i a = fold(loadAlignedBlock(s + i));
    const __m128i b = fold(aligned ? loadAlignedBlock(t + i) : load16(t + i));
    const __m128i ends = terminators<Unit>(a);
    const uint32_t goOn = highBits(_mm_andnot_si128(ends, equalUnits<Unit>(a, b)));
    if (goOn != kAllBytes) {
      return std::min(limit, i + static_cast<size_t>(std::countr_one(goOn)) / sizeof(Unit));
    }
    i += kUnits;
  }
  while (i < limit && goesOn()) {
    ++i;
  }
  return std::min(i, limit);
}

/// Reverses units between two addresses; reverseBlock does it inside a block.
template <class Unit, class ReverseBlock>
void reverseUnits(Unit *front, Unit *back, ReverseBlock reverseBlock)
{
  constexpr ptrdiff_t kUnits = kBlockSize / sizeof(Unit);
  // Less than two blocks in the middle overlap, and both are right where they do.
  while (back - front >= kUnits) {
    back -= kUnits;
    const __m128i first = load16(front);
    const __m128i last = load16(back);
    store16(front, reverseBlock(last));
    store16(back, reverseBlock(first));
    front += kUnits;
  }
  if (front < back) {
    std::reverse(front, back);
  }
}

/// The eight 16-bit units of a block from last to first.
inline __m128i reversePairs(__m128i block)
{
  constexpr int kFromLast = _MM_SHUFFLE(0, 1, 2, 3);
  const __m128i halves = _mm_shufflehi_epi16(_mm_shufflelo_epi16(block, kFromLast), kFromLast);
  return _mm_shuffle_epi32(halves, _MM_SHUFFLE(1, 0, 3, 2));
}

}  // namespace qv::text
