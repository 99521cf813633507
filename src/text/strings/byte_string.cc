// The 8-bit string functions, integers as digits, and the check of digit strings.
//
// Left to the locale: which bytes are letters of strupr and strlwr. Everything else knows ASCII only.

#include <bit>
#include <cctype>
#include <charconv>
#include <cstring>

#include "base/alias.h"
#include "base/block.h"
#include "base/status.h"
#include "qvsupt32/strings.h"

namespace {

using qv::Status;

constexpr size_t kDigitsMost = 33;  // base 2 with a terminator

/// The letters A to Z become small letters.
struct SmallLetters {
  static constexpr int kToSmall = 'a' - 'A';

  uint8_t operator()(uint8_t byte) const
  {
    return byte >= 'A' && byte <= 'Z' ? static_cast<uint8_t>(byte + kToSmall) : byte;
  }

  __m128i operator()(__m128i bytes) const
  {
    // There is no unsigned comparison: the range from A to Z is moved to the lowest signed numbers.
    const __m128i moved = _mm_add_epi8(bytes, _mm_set1_epi8(static_cast<int8_t>(INT8_MIN - 'A')));
    const __m128i letters = _mm_cmplt_epi8(moved, _mm_set1_epi8(INT8_MIN + 26));
    return _mm_add_epi8(bytes, _mm_and_si128(letters, _mm_set1_epi8(kToSmall)));
  }
};

__m128i reverseBytes(__m128i block)
{
  const __m128i pairs = qv::text::reversePairs(block);
  return _mm_or_si128(_mm_slli_epi16(pairs, 8), _mm_srli_epi16(pairs, 8));
}

/// Maps every byte by a function of <cctype>.
char *mapBytes(char *s, int (*map)(int))
{
  for (char *at = s; *at != 0; ++at) {
    *at = static_cast<char>(map(static_cast<unsigned char>(*at)));
  }
  return s;
}

/// Writes a number in a radix of std::to_chars with its terminator, and returns the number of characters.
template <class Number>
intptr_t writeDigits(char *dst, Number value, int radix)
{
  char *end = std::to_chars(dst, dst + kDigitsMost - 1, value, radix).ptr;
  *end = 0;
  return end - dst;
}

bool isBetween(char c, char first, char last)
{
  return c >= first && c <= last;
}

/// Success when s is neither null nor empty and every byte behind the prefix, as long as prefixLength tells, is a
/// digit.
template <class PrefixLength, class IsDigit>
uint32_t checkDigits(const char *s, PrefixLength prefixLength, IsDigit isDigit)
{
  if (s == nullptr || *s == 0) {
    return result(Status::invalidParameter);
  }
  for (s += prefixLength(s); *s != 0; ++s) {
    if (!isDigit(*s)) {
      return result(Status::invalidParameter);
    }
  }
  return result(Status::success);
}

}  // namespace

int32_t UTF8Strnicmp(const char *s, const char *t, uint32_t n)
{
  const auto *a = reinterpret_cast<const uint8_t *>(s);
  const auto *b = reinterpret_cast<const uint8_t *>(t);
  const SmallLetters small;
  const size_t common = qv::text::commonLength(a, b, n, small);
  return common == n ? 0 : small(a[common]) - small(b[common]);
}

QV_ALIAS(SMUTF8Strnicmp, UTF8Strnicmp)

char *strupr(char *s)
{
  return mapBytes(s, toupper);
}

QV_ALIAS(SMUTF8StrUpperCase, strupr)

char *strlwr(char *s)
{
  return mapBytes(s, tolower);
}

QV_ALIAS(SMUTF8StrLowerCase, strlwr)

char *strrev(char *s)
{
  qv::text::reverseUnits(s, s + strlen(s), reverseBytes);
  return s;
}

QV_ALIAS(SMUTF8Strrev, strrev)

intptr_t ltostr(char *dst, int32_t value, int32_t radix)
{
  switch (radix) {
    case 2:
      return reinterpret_cast<intptr_t>(dec2bin(dst, value));
    case 8:
    case 16:
      return writeDigits(dst, static_cast<uint32_t>(value), radix);
    default:
      return writeDigits(dst, value, 10);
  }
}

char *dec2bin(char *dst, int32_t value)
{
  const auto pattern = static_cast<uint32_t>(value);
  char *at = dst;
  for (uint32_t bit = std::bit_floor(pattern); bit != 0; bit >>= 1) {
    *at++ = (pattern & bit) != 0 ? '1' : '0';
  }
  *at = 0;
  return dst;
}

uint32_t IsASCIIIntNum(const char *s, SMBool allowSign)
{
  return checkDigits(
      s, [&](const char *text) { return allowSign != 0 && (*text == '-' || *text == '+') ? 1 : 0; },
      [](char c) { return isBetween(c, '0', '9'); });
}

uint32_t IsASCIIHexNum(const char *s, SMBool lowerCase)
{
  const char letter = lowerCase != 0 ? 'a' : 'A';
  return checkDigits(
      s, [](const char *text) { return text[0] == '0' && text[1] == 'x' ? 2 : 0; },
      [&](char c) { return isBetween(c, '0', '9') || isBetween(c, letter, static_cast<char>(letter + 5)); });
}

uint32_t IsASCIIOctalNum(const char *s)
{
  return checkDigits(
      s, [](const char *) { return 0; }, [](char c) { return isBetween(c, '0', '7'); });
}
