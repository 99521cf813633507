// Reading text by blocks of sixteen bytes (SSE2, which the library requires) although nobody told where it ends. A
// block may reach behind the terminator as long as it stays in pages that the text has part of: it faults no more than
// the text itself would.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace qv::text {

constexpr size_t kBlockSize = sizeof(__m128i);
constexpr uintptr_t kPageSize = 4096;

/// The bytes from an address, itself included, to the end of its page.
inline size_t leftInPage(const void *at)
{
  return kPageSize - reinterpret_cast<uintptr_t>(at) % kPageSize;
}

/// Loads a block that begins where a text goes on, see canLoadBlock. Bytes behind the end of the text decide nothing,
/// but the sanitizers would take them for bytes that are used.
__attribute__((no_sanitize("address", "thread"))) inline __m128i loadBlock(const void *at)
{
  return _mm_loadu_si128(static_cast<const __m128i *>(at));
}

/// One bit a byte, from the lowest address up: its highest bit.
inline uint32_t highBits(__m128i block)
{
  return static_cast<uint32_t>(_mm_movemask_epi8(block));
}

constexpr uint32_t kAllBytes = 0xFFFF;

/// Whether the text goes on into the next page, seen from one of the last bytes of a page.
template <class Unit>
bool reachesNextPage(const Unit *at)
{
  const size_t left = leftInPage(at);
  const __m128i last = loadBlock(reinterpret_cast<const char *>(at) + left - kBlockSize);
  uint32_t terminators = highBits(_mm_cmpeq_epi8(last, _mm_setzero_si128())) >> (kBlockSize - left);
  if (sizeof(Unit) == 2) {
    terminators &= terminators >> 1 & 0x5555;
  }
  return terminators == 0;
}

/// Whether a block can be loaded where a text goes on.
template <class Unit>
bool canLoadBlock(const Unit *at)
{
  return leftInPage(at) >= kBlockSize || reachesNextPage(at);
}

inline void store16(void *at, __m128i block)
{
  _mm_storeu_si128(static_cast<__m128i *>(at), block);
}

}  // namespace qv::text
