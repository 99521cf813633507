// Conversion by blocks of sixteen bytes (SSE2, which the library requires).
//
// A run is text of one kind, whose characters take the same number of bytes in UTF-8: a whole block of it is converted
// at once. A mixed block has characters of several kinds, which are converted without a branch between them. Both take
// well-formed text only; whatever else there is falls to the decoder of code_point.h.
//
// In the end nothing is written but what is converted. The stores of a mixed block run ahead: those of Utf8Mixed and
// Utf16Mixed onto places that the next character, which is known to be whole and to fit, or the terminator fills
// afterwards; those of the UpToTwo blocks a stated number of units further, which their caller puts back.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "base/block.h"
#include "base/text.h"
#include "text/convert/code_point.h"

namespace qv::text {

inline void store8(void *at, __m128i block)
{
  _mm_storel_epi64(static_cast<__m128i *>(at), block);
}

inline __m128i load8(const void *at)
{
  return _mm_loadl_epi64(static_cast<const __m128i *>(at));
}

inline __m128i load4(const void *at)
{
  int four;
  memcpy(&four, at, sizeof(four));
  return _mm_cvtsi32_si128(four);
}

inline void store4(void *at, __m128i block)
{
  const int four = _mm_cvtsi128_si32(block);
  memcpy(at, &four, sizeof(four));
}

/// Whether `mask` of the block is `pattern`.
inline bool fits(__m128i block, __m128i mask, __m128i pattern)
{
  return highBits(_mm_cmpeq_epi8(block & mask, pattern)) == kAllBytes;
}

/// The same value in every byte, every 16 bits, every 32 bits.
inline __m128i every8(uint8_t value)
{
  return _mm_set1_epi8(static_cast<char>(value));
}

inline __m128i every16(uint16_t value)
{
  return _mm_set1_epi16(static_cast<int16_t>(value));
}

inline __m128i every32(uint32_t value)
{
  return _mm_set1_epi32(static_cast<int>(value));
}

/// The same three values in every three bytes, and 0 in the sixteenth.
inline __m128i every24(uint8_t first, uint8_t second, uint8_t third)
{
  const auto a = static_cast<char>(first);
  const auto b = static_cast<char>(second);
  const auto c = static_cast<char>(third);
  return _mm_setr_epi8(a, b, c, a, b, c, a, b, c, a, b, c, a, b, c, 0);
}

/// The bits set among the low sixteen. The processors that the library requires need have no instruction for it.
constexpr uint32_t bitCount16(uint32_t bits)
{
  bits -= bits >> 1 & 0x5555;
  bits = (bits & 0x3333) + (bits >> 2 & 0x3333);
  bits = (bits + (bits >> 4)) & 0x0F0F;
  return (bits + (bits >> 8)) & 0x1F;
}

template <class Function, size_t... i>
void repeatWith(Function f, std::index_sequence<i...>)
{
  (f(i), ...);
}

/// Calls f with 0, 1, ... count - 1 as constants.
template <size_t count, class Function>
void repeat(Function f)
{
  repeatWith(f, std::make_index_sequence<count>());
}

// From UTF-8 to UTF-16 ------------------------------------------------------------------------------------------------
//
// A run has kFrom, the bytes that a block of it takes, and kTo, the units that it gives.

struct Utf8Ascii {
  /// All ones in the bytes that are zero or not ASCII.
  static __m128i others(__m128i block) { return _mm_cmplt_epi8(block, every8(1)); }

  /// Whether a block is all ASCII, without a zero.
  static bool isAscii(__m128i block) { return highBits(_mm_cmpgt_epi8(block, _mm_setzero_si128())) == kAllBytes; }

  /// Converts so many bytes of ASCII. What is left of the blocks is done in steps that overlap.
  static void convert(const char *at, size_t length, char16_t *out)
  {
    if (length >= 16) {
      for (size_t i = 0; i < length - 16; i += 16) {
        widen(load16(at + i), out + i);
      }
      widen(load16(at + length - 16), out + length - 16);
    } else if (length >= 8) {
      store16(out, widened(load8(at)));
      store16(out + length - 8, widened(load8(at + length - 8)));
    } else if (length >= 4) {
      store8(out, widened(load4(at)));
      store8(out + length - 4, widened(load4(at + length - 4)));
    } else {
      for (size_t i = 0; i < length; ++i) {
        out[i] = static_cast<char16_t>(at[i]);
      }
    }
  }

  static __m128i widened(__m128i eight) { return _mm_unpacklo_epi8(eight, _mm_setzero_si128()); }

  /// Converts a block at a block boundary, if it is all ASCII.
  static constexpr size_t kAligned = 16;
  static bool convertAligned(const char *at, char16_t *out)
  {
    const __m128i block = loadAligned(at);
    if (!isAscii(block)) {
      return false;
    }
    widen(block, out);
    return true;
  }

 private:
  static void widen(__m128i block, char16_t *out)
  {
    store16(out, widened(block));
    store16(out + 8, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
  }
};

class Utf8TwoByteRun {
 public:
  static constexpr size_t kFrom = 16;
  static constexpr size_t kTo = 8;

  explicit Utf8TwoByteRun(const char *at) : block_(load16(at)) {}

  bool matches() const { return fits(block_, every16(0xC0E0), every16(0x80C0)); }

  void convert(char16_t *out) const
  {
    store16(out, _mm_slli_epi16(block_ & every16(0x1F), 6) | (_mm_srli_epi16(block_, 8) & every16(0x3F)));
  }

 private:
  __m128i block_;
};

class Utf8FourByteRun {
 public:
  static constexpr size_t kFrom = 16;
  static constexpr size_t kTo = 8;

  explicit Utf8FourByteRun(const char *at) : block_(load16(at)) {}

  bool matches() const
  {
    const __m128i tooLarge = _mm_srli_epi32(beyondUnit(), 20);  // or negative: a form longer than it needs
    return fits(block_, every32(0xC0C0C0F8), every32(0x808080F0)) &&
           highBits(_mm_cmpeq_epi32(tooLarge, _mm_setzero_si128())) == kAllBytes;
  }

  void convert(char16_t *out) const
  {
    const __m128i value = beyondUnit();
    store16(out, every32(0xDC00D800) | _mm_srli_epi32(value, 10) | _mm_slli_epi32(value & every32(0x3FF), 16));
  }

 private:
  /// The code points less 0x10000.
  __m128i beyondUnit() const
  {
    const __m128i codePoints =
        _mm_slli_epi32(block_ & every32(7), 18) | (_mm_slli_epi32(block_, 4) & every32(0x3F000)) |
        (_mm_srli_epi32(block_, 10) & every32(0xFC0)) | (_mm_srli_epi32(block_, 24) & every32(0x3F));
    return _mm_sub_epi32(codePoints, every32(kBeyondUnit));
  }

  __m128i block_;
};

/// For every byte the unit of the character of up to three bytes that it ends.
class Utf8LastBytes {
 public:
  explicit Utf8LastBytes(__m128i block)
  {
    const __m128i continues = _mm_cmplt_epi8(block, every8(0xC0));  // 10xxxxxx
    const __m128i low = block & every8(0x7F);
    const __m128i middle = _mm_slli_si128(block, 1) & continues & every8(0x3F);
    const __m128i high =
        _mm_slli_epi16(_mm_slli_si128(block, 2), 4) & continues & _mm_slli_si128(continues, 1) & every8(0xF0);
    const __m128i zero = _mm_setzero_si128();
    store16(units_, _mm_unpacklo_epi8(low, high) | _mm_slli_epi16(_mm_unpacklo_epi8(middle, zero), 6));
    store16(units_ + 8, _mm_unpackhi_epi8(low, high) | _mm_slli_epi16(_mm_unpackhi_epi8(middle, zero), 6));
  }

  char16_t operator[](size_t i) const { return units_[i]; }

 private:
  alignas(16) char16_t units_[16];
};

class Utf8ThreeByteRun {
 public:
  static constexpr size_t kFrom = 15;
  static constexpr size_t kTo = 5;

  explicit Utf8ThreeByteRun(const char *at) : block_(load16(at)) {}

  bool matches() const { return fits(block_, every24(0xF0, 0xC0, 0xC0), every24(0xE0, 0x80, 0x80)); }

  void convert(char16_t *out) const
  {
    const Utf8LastBytes units(block_);
    repeat<kTo>([&](size_t i) { out[i] = units[3 * i + 2]; });
  }

 private:
  __m128i block_;
};

/// A block of characters of one and two bytes that are well formed. Runs of ASCII are stored eight units at a time, each
/// over what the one before it stored too much; up to kOver units too much are left at the end.
class Utf8UpToTwo {
 public:
  static constexpr size_t kLoaded = 24;
  static constexpr size_t kRoom = 24;
  static constexpr size_t kOver = 8;

  explicit Utf8UpToTwo(const char *at) : at_(at)
  {
    const __m128i block = load16(at);
    const uint32_t continuations = highBits(_mm_cmplt_epi8(block, every8(0xC0)));  // 10xxxxxx
    // The bytes that start longer forms, and zeros.
    const uint32_t others = highBits(_mm_subs_epu8(block, every8(0x60)) | terminators<char>(block));
    const uint32_t leads = highBits(block) & ~continuations;
    valid_ = (((leads << 1 ^ continuations) & kAllBytes) | others) == 0;
    from_ = kBlockSize - (leads >> 15);  // the other byte of the last one may come after the block
    leads_ = leads & kAllBytes >> 1;
  }

  bool matches() const { return valid_; }
  bool mixes() const { return leads_ != 0; }
  size_t from() const { return from_; }
  size_t to() const { return from_ - bitCount16(leads_); }

  /// Returns the end of the units.
  char16_t *convert(char16_t *out) const
  {
    storeEight(0, out);
    for (uint32_t leads = leads_ & 0xFF; leads != 0; leads &= leads - 1) {
      out = storeLead(static_cast<size_t>(std::countr_zero(leads)), out);
    }
    storeEight(8 + (leads_ >> 7 & 1), out);
    for (uint32_t leads = leads_ & 0xFF00; leads != 0; leads &= leads - 1) {
      out = storeLead(static_cast<size_t>(std::countr_zero(leads)), out);
    }
    return out + from_;
  }

 private:
  /// Stores eight bytes of the block as if they were ASCII.
  void storeEight(size_t place, char16_t *out) const { store16(out + place, Utf8Ascii::widened(load8(at_ + place))); }

  /// Stores a character of two bytes, and what follows as if it were ASCII. Returns where the places after it are
  /// counted from.
  char16_t *storeLead(size_t place, char16_t *out) const
  {
    out[place] = static_cast<char16_t>((at_[place] & 0x1F) << 6 | (at_[place + 1] & 0x3F));
    storeEight(place + 2, out - 1);
    return out - 1;
  }

  const char *at_;
  uint32_t leads_;
  size_t from_;
  bool valid_;
};

/// Characters of one to three bytes that end in the first kBytes of a block, up to the terminator if it is there. What
/// follows completes the last of them, or begins the next.
class Utf8Mixed {
 public:
  static constexpr size_t kLoaded = 16;
  static constexpr size_t kRoom = 14;

  explicit Utf8Mixed(const char *at) : block_(load16(at))
  {
    const uint32_t zeros = highBits(terminators<char>(block_));
    const uint32_t text = (zeros ^ (zeros - 1)) >> 1 & kMask;  // the bytes before the first zero
    const uint32_t high = highBits(block_);
    const uint32_t continuations = high & ~highBits(_mm_slli_epi16(block_, 1));
    const uint32_t leads = high & ~continuations & text;
    const uint32_t threes = leads & highBits(_mm_slli_epi16(block_, 2));
    const uint32_t fours = threes & highBits(_mm_slli_epi16(block_, 3));
    const uint32_t expected = leads << 1 | threes << 2;
    const uint32_t missing = expected & ~continuations;
    const uint32_t stray = continuations & ~expected & text;
    valid_ = text != 0 && (fours | missing | stray) == 0;
    lastBytes_ = ~(continuations >> 1) & text;
    high_ = high;
  }

  bool matches() const { return valid_; }

  /// Whether the text is not all ASCII, and not without it, so that no run is likely to follow.
  bool mixes() const { return high_ != 0 && (high_ & kMask) != kMask; }

  /// The bytes that are converted, and the units that they give.
  size_t from() const { return static_cast<size_t>(std::bit_width(lastBytes_ | 1)); }
  size_t to() const { return bitCount16(lastBytes_); }

  /// The room that the units need, with that of the character or terminator that a store may run ahead onto; kRoom at
  /// most.
  size_t room() const { return to() + 1; }

  /// Returns the end of the units.
  char16_t *convert(char16_t *out) const
  {
    const Utf8LastBytes units(block_);
    repeat<kBytes>([&](size_t i) {
      *out = units[i];
      out += lastBytes_ >> i & 1;
    });
    return out;
  }

 private:
  static constexpr size_t kBytes = 13;
  static constexpr uint32_t kMask = (1U << kBytes) - 1;

  __m128i block_;
  uint32_t high_;
  uint32_t lastBytes_;
  bool valid_;
};

// From UTF-16 to UTF-8 ------------------------------------------------------------------------------------------------
//
// kFrom counts units, kTo bytes.

struct Utf16Ascii {
  /// All ones in the units that are zero or not ASCII.
  static __m128i others(__m128i units)
  {
    // There is no unsigned comparison: 1 to 0x7F are moved to the lowest signed numbers.
    return _mm_cmpgt_epi16(_mm_add_epi16(units, every16(0x7FFF)), every16(0x807E));
  }

  static void convert(const char16_t *at, size_t length, char *out)
  {
    if (length >= 8) {
      for (size_t i = 0; i < length - 8; i += 8) {
        store8(out + i, narrowed(load16(at + i)));
      }
      store8(out + length - 8, narrowed(load16(at + length - 8)));
    } else if (length >= 4) {
      store4(out, narrowed(load8(at)));
      store4(out + length - 4, narrowed(load8(at + length - 4)));
    } else {
      for (size_t i = 0; i < length; ++i) {
        out[i] = static_cast<char>(at[i]);
      }
    }
  }

  static __m128i narrowed(__m128i units) { return _mm_packus_epi16(units, units); }

  /// Converts two blocks at a block boundary, if they are all ASCII. The second one is loaded only if the text reaches it.
  static constexpr size_t kAligned = 16;
  static bool convertAligned(const char16_t *at, char *out)
  {
    const __m128i first = loadAligned(at);
    if (highBits(terminators<char16_t>(first)) != 0) {
      return false;
    }
    const __m128i bytes = _mm_packus_epi16(first, loadAligned(at + 8));
    if (!Utf8Ascii::isAscii(bytes)) {
      return false;
    }
    store16(out, bytes);
    return true;
  }
};

/// 110xxxxx 10xxxxxx in each unit.
inline __m128i utf16InTwoBytes(__m128i units)
{
  return every16(0x80C0) | _mm_srli_epi16(units, 6) | _mm_slli_epi16(units & every16(0x3F), 8);
}

/// All ones in the units that take one byte or are zero; one or two bytes, or are zero.
inline __m128i utf16UpToOneByte(__m128i units)
{
  return _mm_cmpeq_epi16(units & every16(0xFF80), _mm_setzero_si128());
}

inline __m128i utf16UpToTwoBytes(__m128i units)
{
  return _mm_cmpeq_epi16(units & every16(0xF800), _mm_setzero_si128());
}

class Utf16TwoByteRun {
 public:
  static constexpr size_t kFrom = 8;
  static constexpr size_t kTo = 16;

  explicit Utf16TwoByteRun(const char16_t *at) : units_(load16(at)) {}

  bool matches() const
  {
    return highBits(_mm_andnot_si128(utf16UpToOneByte(units_), utf16UpToTwoBytes(units_))) == kAllBytes;
  }

  void convert(char *out) const { store16(out, utf16InTwoBytes(units_)); }

 private:
  __m128i units_;
};

class Utf16ThreeByteRun {
 public:
  static constexpr size_t kFrom = 8;
  static constexpr size_t kTo = 24;

  explicit Utf16ThreeByteRun(const char16_t *at) : units_(load16(at)) {}

  bool matches() const
  {
    const __m128i surrogates = _mm_cmpeq_epi16(units_ & every16(0xF800), every16(0xD800));
    return highBits(utf16UpToTwoBytes(units_) | surrogates) == 0;
  }

  void convert(char *out) const
  {
    const __m128i first = inThreeBytes(_mm_unpacklo_epi16(units_, _mm_setzero_si128()));
    const __m128i second = inThreeBytes(_mm_unpackhi_epi16(units_, _mm_setzero_si128()));
    store16(out, first | _mm_slli_si128(second, 12));
    store8(out + 16, _mm_srli_si128(second, 4));
  }

 private:
  /// Twelve bytes from four units that stand in 32 bits each: 1110xxxx 10xxxxxx 10xxxxxx.
  static __m128i inThreeBytes(__m128i units)
  {
    const __m128i threes = every32(0x008080E0) | _mm_srli_epi32(units, 12) |
                           (_mm_slli_epi32(units, 2) & every32(0x3F00)) | _mm_slli_epi32(units & every32(0x3F), 16);
    // Three of every four bytes are used: close up the two halves of each 64 bits, then those.
    const __m128i even = threes & _mm_set_epi32(0, -1, 0, -1);
    const __m128i sixes = even | _mm_srli_epi64(threes ^ even, 8);
    return _mm_move_epi64(sixes) | _mm_srli_si128(_mm_unpackhi_epi64(_mm_setzero_si128(), sixes), 2);
  }

  __m128i units_;
};

class Utf16PairRun {
 public:
  static constexpr size_t kFrom = 8;
  static constexpr size_t kTo = 16;

  explicit Utf16PairRun(const char16_t *at) : units_(load16(at)) {}

  bool matches() const { return fits(units_, every32(0xFC00FC00), every32(0xDC00D800)); }

  void convert(char *out) const
  {
    const __m128i codePoints = _mm_add_epi32(
        _mm_slli_epi32(units_ & every32(0x3FF), 10) | (_mm_srli_epi32(units_, 16) & every32(0x3FF)), every32(0x10000));
    store16(out,
            every32(0x808080F0) | _mm_srli_epi32(codePoints, 18) | (_mm_srli_epi32(codePoints, 4) & every32(0x3F00)) |
                (_mm_slli_epi32(codePoints, 10) & every32(0x3F0000)) | _mm_slli_epi32(codePoints & every32(0x3F), 24));
  }

 private:
  __m128i units_;
};

/// A block of characters of one and two bytes, as Utf8UpToTwo.
class Utf16UpToTwo {
 public:
  static constexpr size_t kLoaded = 32;
  static constexpr size_t kRoom = 24;
  static constexpr size_t kOver = 8;

  explicit Utf16UpToTwo(const char16_t *at) : at_(at), units_(load16(at)) {}

  bool matches() const
  {
    const __m128i zeros = _mm_cmpeq_epi16(units_, _mm_setzero_si128());
    return highBits(_mm_andnot_si128(zeros, utf16UpToTwoBytes(units_))) == kAllBytes;
  }

  bool mixes() const { return twoBytes() != 0; }
  static constexpr size_t from() { return 8; }
  size_t to() const { return from() + bitCount16(twoBytes()); }

  char *convert(char *out) const
  {
    store8(out, Utf16Ascii::narrowed(units_));
    for (uint32_t left = twoBytes(); left != 0; left &= left - 1) {
      const auto place = static_cast<size_t>(std::countr_zero(left));
      const uint32_t unit = at_[place];
      const auto spelled = static_cast<uint16_t>(0x80C0 | unit >> 6 | (unit & 0x3F) << 8);
      memcpy(out + place, &spelled, sizeof(spelled));
      ++out;
      store8(out + place + 1, Utf16Ascii::narrowed(load16(at_ + place + 1)));
    }
    return out + from();
  }

 private:
  /// One bit a unit.
  uint32_t twoBytes() const { return ~highBits(_mm_packs_epi16(utf16UpToOneByte(units_), _mm_setzero_si128())) & 0xFF; }

  const char16_t *at_;
  __m128i units_;
};

/// Seven characters of one or two bytes, and an eighth that only has to be there.
class Utf16Mixed {
 public:
  static constexpr size_t kLoaded = 16;
  static constexpr size_t kRoom = 16;

  explicit Utf16Mixed(const char16_t *at) : units_(load16(at)), oneByte_(utf16UpToOneByte(units_)) {}

  bool matches() const
  {
    const __m128i zeros = _mm_cmpeq_epi16(units_, _mm_setzero_si128());
    return highBits(_mm_andnot_si128(zeros, utf16UpToTwoBytes(units_))) == kAllBytes;
  }

  bool mixes() const { return highBits(oneByte_) != 0 && highBits(oneByte_) != kAllBytes; }

  static constexpr size_t from() { return kUnits; }
  size_t to() const { return 2 * kUnits - bitCount16(highBits(oneByte_) & kOneBitEach); }
  size_t room() const { return to() + 2; }

  char *convert(char *out) const
  {
    alignas(16) uint16_t spelled[8];
    store16(spelled, (units_ & oneByte_) | _mm_andnot_si128(oneByte_, utf16InTwoBytes(units_)));
    const uint32_t oneByte = highBits(oneByte_);
    repeat<kUnits>([&](size_t i) {
      memcpy(out, &spelled[i], 2);
      out += 2 - (oneByte >> 2 * i & 1);
    });
    return out;
  }

 private:
  static constexpr size_t kUnits = 7;
  static constexpr uint32_t kOneBitEach = 0x1555;

  __m128i units_;
  __m128i oneByte_;
};

}  // namespace qv::text
