// The parts of Base64: group by group by the rules, and eight groups at a time with AVX2 where the processor has it.
// Both give the same bytes for any input, read nothing but the input and write nothing but the result.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qv::base64 {

inline constexpr char basis64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char kPad = '=';
inline constexpr uint8_t kNoValue = 255;

/// The place of every ASCII character in basis64, kNoValue for the others.
inline constexpr std::array<uint8_t, 128> index64 = [] {
  std::array<uint8_t, 128> values{};
  values.fill(kNoValue);
  for (uint8_t value = 0; value < 64; ++value) {
    values[static_cast<uint8_t>(basis64[value])] = value;
  }
  return values;
}();

/// The state of a coder: what it reads next, and what it writes next.
template <class In, class Out>
struct Cursor {
  const In *in;
  Out *out;
};
using Encoder = Cursor<uint8_t, char>;
using Decoder = Cursor<char, uint8_t>;

/// Encodes a group from the bits of three bytes.
inline void putGroup(char *out, uint32_t bits, const char *alphabet)
{
  out[0] = alphabet[bits >> 18 & 63U];
  out[1] = alphabet[bits >> 12 & 63U];
  out[2] = alphabet[bits >> 6 & 63U];
  out[3] = alphabet[bits & 63U];
}

/// Encodes bytes up to end, a short last group included.
inline void encodeGroups(Encoder &at, const uint8_t *end, const char *alphabet)
{
  auto [in, out] = at;  // a copy: the characters could be written over the cursor, for all that the compiler knows
  for (; end - in >= 3; in += 3, out += 4) {
    putGroup(out, static_cast<uint32_t>(in[0] << 16 | in[1] << 8 | in[2]), alphabet);
  }
  if (const auto left = end - in; left > 0) {
    putGroup(out, static_cast<uint32_t>(in[0] << 16 | (left == 2 ? in[1] << 8 : 0)), alphabet);
    out[2] = left == 2 ? out[2] : kPad;
    out[3] = kPad;
    out += 4;
  }
  at = {end, out};
}

/// The value of a character: signed, so that kNoValue has all bits set in whatever width it is computed with.
inline int valueOf(char character)
{
  const auto code = static_cast<uint8_t>(character);
  return static_cast<int8_t>(code < index64.size() ? index64[code] : kNoValue);
}

/// Decodes the groups up to end, a multiple of four characters away. The bytes may take the place of the text: each is
/// written when the character there, or one after it, was the last one read.
inline void decodeGroups(Decoder &at, const char *end)
{
  uint8_t *out = at.out;
  for (const char *group = at.in; group != end; group += 4) {
    if (group[0] == kPad || group[1] == kPad) {
      continue;
    }
    const int second = valueOf(group[1]);
    *out++ = static_cast<uint8_t>(valueOf(group[0]) << 2 | second >> 4);
    if (group[2] == kPad) {
      continue;
    }
    const int third = valueOf(group[2]);
    *out++ = static_cast<uint8_t>((second & 0x0F) << 4 | third >> 2);
    if (group[3] == kPad) {
      continue;
    }
    *out++ = static_cast<uint8_t>((third & 0x03) << 6 | valueOf(group[3]));
  }
  at = {end, out};
}

/// Characters of a block, and the bytes that they stand for.
inline constexpr ptrdiff_t kBlockText = sizeof(__m256i);
inline constexpr ptrdiff_t kBlockBytes = kBlockText / 4 * 3;

/// The bytes that are read to encode a block, four more than are used.
inline constexpr ptrdiff_t kEncodedAtOnce = kBlockBytes / 2 + static_cast<ptrdiff_t>(sizeof(__m128i));

using Table = std::array<uint8_t, 16>;

[[gnu::target("avx2")]] inline __m128i load(const void *from)
{
  return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

/// One table for the lookups in both halves of a block.
[[gnu::target("avx2")]] inline __m256i inBothHalves(const void *table)
{
  return _mm256_broadcastsi128_si256(load(table));
}

/// Encodes bytes from the front as long as whole blocks can be read, and leaves the rest.
[[gnu::target("avx2")]] inline void encodeBlocks(Encoder &at, const uint8_t *end, const char *alphabet)
{
  constexpr ptrdiff_t kHalfBytes = kBlockBytes / 2;
  if (end - at.in < kEncodedAtOnce) {
    return;
  }
  __m256i quarters[4];
  for (int i = 0; i < 4; ++i) {
    quarters[i] = inBothHalves(alphabet + 16 * i);
  }
  // Each group's bytes a, b, c become the 16-bit units (b, a) and (c, b), lowest byte first, which hold the bits of two
  // characters each.
  const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                                          1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  for (; end - at.in >= kEncodedAtOnce; at.in += kBlockBytes) {
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(load(at.in)), load(at.in + kHalfBytes), 1);
    const __m256i units = _mm256_shuffle_epi8(bytes, spread);
    // A product with a power of two is a shift that each unit has its own count for: its high half to the right, its
    // low half to the left.
    const __m256i even =
        _mm256_mulhi_epu16(_mm256_and_si256(units, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
    const __m256i odd =
        _mm256_mullo_epi16(_mm256_and_si256(units, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
    const __m256i values = _mm256_or_si256(even, odd);
    // A lookup has 16 entries and gives 0 where the top bit is set, which the saturated sum sets for every value of
    // another quarter.
    __m256i text = _mm256_setzero_si256();
    for (int i = 0; i < 4; ++i) {
      const __m256i inQuarter = _mm256_sub_epi8(values, _mm256_set1_epi8(static_cast<int8_t>(16 * i)));
      const __m256i entries = _mm256_adds_epu8(inQuarter, _mm256_set1_epi8(0x70));
      text = _mm256_or_si256(text, _mm256_shuffle_epi8(quarters[i], entries));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(at.out), text);
    at.out += kBlockText;
  }
}

/// A character is judged by its halves: a bit for each column of 16 characters that has some of the alphabet, and one
/// for all that have none. kColumnBit names the column of a high half, kBadInColumns the columns in which a low half is
/// bad.
inline constexpr unsigned kFirstColumn = 2;
inline constexpr unsigned kEndColumn = 8;
inline constexpr uint8_t kNoColumn = 0x80;

inline constexpr Table kColumnBit = [] {
  Table bits{};
  bits.fill(kNoColumn);
  for (unsigned column = kFirstColumn; column < kEndColumn; ++column) {
    bits[column] = static_cast<uint8_t>(1U << (column - kFirstColumn));
  }
  return bits;
}();

inline constexpr Table kBadInColumns = [] {
  Table bad{};
  bad.fill(kNoColumn);
  for (unsigned code = kFirstColumn * 16; code < kEndColumn * 16; ++code) {
    if (index64[code] == kNoValue) {
      bad[code % 16] = bad[code % 16] | kColumnBit[code / 16];
    }
  }
  return bad;
}();

/// What to add to a character to get its value, by its column; '/' shares one with '+' and goes by the one before.
inline constexpr Table kToValue = [] {
  Table distances{};
  for (unsigned code = 0; code < index64.size(); ++code) {
    if (index64[code] != kNoValue) {
      distances[code / 16 - (code == '/' ? 1 : 0)] = static_cast<uint8_t>(index64[code] - code);
    }
  }
  return distances;
}();

/// Decodes a block if all its characters are of the alphabet.
[[gnu::target("avx2")]] inline bool decodeBlock(Decoder &at)
{
  const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at.in));
  const __m256i half = _mm256_set1_epi8(0x0F);
  const __m256i columns = _mm256_and_si256(_mm256_srli_epi32(text, 4), half);
  const __m256i columnBits = _mm256_shuffle_epi8(inBothHalves(kColumnBit.data()), columns);
  const __m256i badBits = _mm256_shuffle_epi8(inBothHalves(kBadInColumns.data()), _mm256_and_si256(text, half));
  if (_mm256_testz_si256(columnBits, badBits) == 0) {
    return false;
  }
  const __m256i slashes = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));  // -1 where there is one
  const __m256i distances = _mm256_shuffle_epi8(inBothHalves(kToValue.data()), _mm256_add_epi8(columns, slashes));
  const __m256i values = _mm256_add_epi8(text, distances);
  // The values a, b, c, d of a group become 64a + b and 64c + d, and these the group's 24 bits, lowest byte first.
  const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i highestFirst = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                                2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i together = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
  const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, highestFirst), together);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(at.out), _mm256_castsi256_si128(bytes));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(at.out + sizeof(__m128i)), _mm256_extracti128_si256(bytes, 1));
  at.in += kBlockText;
  at.out += kBlockBytes;
  return true;
}

/// Decodes groups from the front as long as whole blocks can be read, and leaves the rest.
[[gnu::target("avx2")]] inline void decodeBlocks(Decoder &at, const char *end)
{
  while (end - at.in >= kBlockText) {
    if (!decodeBlock(at)) {
      decodeGroups(at, at.in + kBlockText);
    }
  }
}

}  // namespace qv::base64
