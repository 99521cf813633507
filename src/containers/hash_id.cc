// The hash identifier table: identifiers as bits of the caller's words, found a word or a block of words at a time.

#include <emmintrin.h>

#include <bit>
#include <cstring>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/containers.h"

namespace {

using qv::Status;

constexpr uint32_t kWordBits = 32;
constexpr uint32_t kWordBytes = 4;
constexpr uint32_t kBitOfNone = 1;  // identifier 0, in word 0

constexpr uint32_t wordCount(uint32_t size)
{
  return size / kWordBytes;
}

/// The word's bits that stand for identifiers.
uint32_t usedBits(const uint32_t *table, uint32_t word)
{
  return word == 0 ? table[0] & ~kBitOfNone : table[word];
}

constexpr uint32_t idOf(uint32_t word, uint32_t bit)
{
  return word * kWordBits + bit;
}

/// The first word from `word` on that is not full, or `words`. Full blocks of sixteen words are passed over as one.
uint32_t firstNotFull(const uint32_t *table, uint32_t word, uint32_t words)
{
  constexpr uint32_t kBlock = 16;
  const __m128i full = _mm_set1_epi32(-1);
  for (; words - word >= kBlock; word += kBlock) {
    const auto *block = reinterpret_cast<const __m128i *>(table + word);
    const __m128i all = _mm_and_si128(_mm_and_si128(_mm_loadu_si128(block), _mm_loadu_si128(block + 1)),
                                      _mm_and_si128(_mm_loadu_si128(block + 2), _mm_loadu_si128(block + 3)));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(all, full)) != 0xFFFF) {
      break;
    }
  }
  while (word < words && table[word] == UINT32_MAX) {
    ++word;
  }
  return word;
}

/// The place of an identifier's bit. A table need not end with a whole word, so bits are reached by their bytes.
struct BitPlace {
  size_t byte;
  uint8_t mask;
};

constexpr BitPlace placeOf(uint32_t id)
{
  return {id / 8, static_cast<uint8_t>(1U << (id % 8))};
}

Status verify(const uint32_t *table, uint32_t size, uint32_t id)
{
  if (id == 0) {
    return Status::indexOutOfRange;  // in use in no table, however small
  }
  if (id / 8 >= size) {
    return Status::badType;
  }
  const BitPlace place = placeOf(id);
  const bool used = (reinterpret_cast<const uint8_t *>(table)[place.byte] & place.mask) != 0;
  return used ? Status::success : Status::indexOutOfRange;
}

}  // namespace

uint32_t HashTableBytesNeeded(int32_t highest)
{
  constexpr int32_t kHighest = 0x3FFFFFFE;
  if (highest < 1 || highest > kHighest) {
    return 0;
  }
  return (static_cast<uint32_t>(highest) / kWordBits + 1) * kWordBytes;
}

uint32_t ClearHashTable(uint32_t *table, int32_t size)
{
  if (size > 0) {
    memset(table, 0, static_cast<size_t>(size));
  }
  return qv::result(Status::success);
}

uint32_t AcquireHashID(uint32_t *table, uint32_t size)
{
  const uint32_t words = wordCount(size);
  if (words == 0) {
    return 0;
  }
  uint32_t word = 0;
  uint32_t free = ~(table[0] | kBitOfNone);
  if (free == 0) {
    word = firstNotFull(table, 1, words);
    if (word == words) {
      return 0;
    }
    free = ~table[word];
  }
  const auto bit = static_cast<uint32_t>(std::countr_zero(free));
  table[word] |= 1U << bit;
  return idOf(word, bit);
}

uint32_t VerifyHashID(const uint32_t *table, uint32_t size, uint32_t id)
{
  return qv::result(verify(table, size, id));
}

uint32_t ReleaseHashID(uint32_t *table, uint32_t size, uint32_t id)
{
  const Status status = verify(table, size, id);
  if (status == Status::success) {
    const BitPlace place = placeOf(id);
    reinterpret_cast<uint8_t *>(table)[place.byte] &= static_cast<uint8_t>(~place.mask);
  }
  return qv::result(status);
}

uint32_t GetMaxInUseID(const uint32_t *table, uint32_t size)
{
  for (uint32_t word = wordCount(size); word-- > 0;) {
    if (const uint32_t used = usedBits(table, word); used != 0) {
      return idOf(word, kWordBits - 1 - static_cast<uint32_t>(std::countl_zero(used)));
    }
  }
  return 0;
}

uint32_t FindFirstHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit)
{
  *word = 0;
  *bit = 0;
  return FindNextHashID(table, size, word, bit);
}

uint32_t FindNextHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit)
{
  const uint32_t words = wordCount(size);
  uint32_t at = *word;
  if (at >= words) {
    return 0;
  }
  uint32_t used = 0;
  if (*bit < kWordBits) [[likely]] {
    constexpr uint32_t kAboveBitZero = UINT32_MAX - 1;
    used = table[at] & kAboveBitZero << *bit;  // without identifier 0 in any case
  }
  while (used == 0) {
    if (++at == words) {
      return 0;
    }
    used = table[at];
  }
  const auto lowest = static_cast<uint32_t>(std::countr_zero(used));
  *word = at;
  *bit = lowest;
  return idOf(at, lowest);
}

QV_ALIAS(SMHashTableBytesNeeded, HashTableBytesNeeded)
QV_ALIAS(SMClearHashTable, ClearHashTable)
QV_ALIAS(SMAcquireHashID, AcquireHashID)
QV_ALIAS(SMVerifyHashID, VerifyHashID)
QV_ALIAS(SMReleaseHashID, ReleaseHashID)
QV_ALIAS(SMGetMaxInUseID, GetMaxInUseID)
QV_ALIAS(SMFindFirstHashID, FindFirstHashID)
QV_ALIAS(SMFindNextHashID, FindNextHashID)
