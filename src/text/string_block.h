// Strings a block of sixteen bytes at a time (SSE2, which the library requires) although their ends are not known.
//
// A string is read by whole blocks from block boundaries. Such a block may hold bytes in front of the string or behind
// its end, which decide nothing; it never crosses a page, so it faults only where the string itself would, and memory
// checkers accept it since the string has part of it.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv::text {

constexpr size_t kBlockSize = sizeof(__m128i);

/// The bytes from the last block boundary to an address.
inline size_t offsetInBlock(const void *at)
{
  return reinterpret_cast<uintptr_t>(at) % kBlockSize;
}

/// Loads the block that starts at a boundary and that a string has at least one byte of. The sanitizers would take its
/// other bytes for bytes that are used.
__attribute__((no_sanitize("address", "thread"))) inline __m128i loadAlignedBlock(const void *at)
{
  return _mm_load_si128(static_cast<const __m128i *>(at));
}

inline __m128i loadUnaligned(const void *at)
{
  return _mm_loadu_si128(static_cast<const __m128i *>(at));
}

inline void storeUnaligned(void *at, __m128i block)
{
  _mm_storeu_si128(static_cast<__m128i *>(at), block);
}

/// One bit a byte, from the lowest address up.
inline unsigned maskOf(__m128i block)
{
  return static_cast<unsigned>(_mm_movemask_epi8(block));
}

/// All ones in every unit that is equal.
template <class Unit>
__m128i equalUnits(__m128i a, __m128i b)
{
  static_assert(sizeof(Unit) <= 2);
  return sizeof(Unit) == 1 ? _mm_cmpeq_epi8(a, b) : _mm_cmpeq_epi16(a, b);
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
      if (maskOf(equalUnits<Unit>(loadAlignedBlock(block), _mm_setzero_si128())) >> offset != 0) {
        return false;
      }
      noEndBefore_ = block + kBlockSize / sizeof(Unit);
    }
    return true;
  }

 private:
  const Unit *noEndBefore_;
};

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
    const __m128i b = fold(aligned ? loadAlignedBlock(t + i) : loadUnaligned(t + i));
    const __m128i ends = equalUnits<Unit>(a, _mm_setzero_si128());
    const unsigned goOn = maskOf(_mm_andnot_si128(ends, equalUnits<Unit>(a, b)));
    if (goOn != 0xFFFF) {
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
    const __m128i first = loadUnaligned(front);
    const __m128i last = loadUnaligned(back);
    storeUnaligned(front, reverseBlock(last));
    storeUnaligned(back, reverseBlock(first));
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
