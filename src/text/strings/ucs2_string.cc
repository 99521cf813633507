// The UCS-2 string functions: the names Uni_*, UCS2Str* and SMUCS2Str* of one body each.
//
// Speed comes from looking at eight units at once (base/block.h). A string at an odd address, as packed records
// have them, is read unit by unit.

#include <cstring>

#include "base/alias.h"
#include "base/block.h"
#include "qvsupt32/strings.h"

SMChar16 *___Uni_strtok = nullptr;

namespace {

using Unit = SMChar16;
using qv::text::commonLength;
using qv::text::equalUnits;
using qv::text::highBits;
using qv::text::load16;
using qv::text::loadAlignedBlock;
using qv::text::offsetInBlock;
using qv::text::store16;

constexpr size_t kBlockUnits = qv::text::kBlockSize / sizeof(Unit);
constexpr size_t kNoLimit = SIZE_MAX;

__m128i spread(Unit unit)
{
  return _mm_set1_epi16(static_cast<int16_t>(unit));
}

/// The number of units, at most limit, in front of the first one at which to stop. stop maps a block to all ones in the
/// units at which to stop; the terminator is one of them.
template <class Stop>
size_t scan(const Unit *s, size_t limit, Stop stop)
{
  if (limit == 0) {
    return 0;
  }
  const size_t offset = offsetInBlock(s);
  if (offset % sizeof(Unit) != 0) {
    size_t i = 0;
    while (i < limit && (highBits(stop(_mm_cvtsi32_si128(s[i]))) & 1U) == 0) {
      ++i;
    }
    return i;
  }
  const Unit *block = s - offset / sizeof(Unit);
  unsigned mask = highBits(stop(loadAlignedBlock(block))) >> offset << offset;
  while (mask == 0) {
    block += kBlockUnits;
    if (static_cast<size_t>(block - s) >= limit) {
      return limit;
    }
    mask = highBits(stop(loadAlignedBlock(block)));
  }
  const Unit *found = block + static_cast<size_t>(std::countr_zero(mask)) / sizeof(Unit);
  return std::min(limit, static_cast<size_t>(found - s));
}

__m128i atEnd(__m128i units)
{
  return qv::text::terminators<Unit>(units);
}

size_t lengthOf(const Unit *s, size_t limit = kNoLimit)
{
  return scan(s, limit, [](__m128i units) { return atEnd(units); });
}

/// The number of units in front of the first unit c or the terminator.
size_t lengthTo(const Unit *s, Unit c)
{
  return scan(s, kNoLimit, [sought = spread(c)](__m128i units) {
    return _mm_or_si128(equalUnits<Unit>(units, sought), atEnd(units));
  });
}

void copy(Unit *dst, const Unit *src, size_t count)
{
  memmove(dst, src, count * sizeof(Unit));  // not memcpy: a string may be moved towards its front
}

void fill(Unit *s, Unit c, size_t count)
{
  if (count < kBlockUnits) {
    std::fill_n(s, count, c);
    return;
  }
  for (size_t i = 0; i < count - kBlockUnits; i += kBlockUnits) {
    store16(s + i, spread(c));
  }
  store16(s + count - kBlockUnits, spread(c));  // over a part of the last one
}

/// A set of few units: a block is compared with one member after the other.
class SmallSet {
 public:
  /// Takes the members of a string unless there are too many.
  bool take(const Unit *set)
  {
    for (; *set != 0; ++set) {
      if (count_ == kMost) {
        return false;
      }
      members_[count_++] = spread(*set);
    }
    return true;
  }

  /// All ones in every unit that is a member.
  __m128i membersIn(__m128i units) const
  {
    __m128i found = _mm_setzero_si128();
    for (unsigned i = 0; i < count_; ++i) {
      found = _mm_or_si128(found, equalUnits<Unit>(units, members_[i]));
    }
    return found;
  }

 private:
  static constexpr unsigned kMost = 32;
  __m128i members_[kMost];
  unsigned count_ = 0;
};

/// A set of any size: one bit for each unit below 256, and one for all further units that share their low byte, which
/// are then looked up in the string.
class LargeSet {
 public:
  explicit LargeSet(const Unit *set) : set_(set)
  {
    for (; *set != 0; ++set) {
      const Unit unit = *set;
      (unit < kNarrow ? narrow_ : wide_)[unit % kNarrow / 32] |= 1U << unit % 32;
    }
  }

  /// Whether a unit is a member; the terminator is none.
  bool contains(Unit unit) const
  {
    const uint32_t *bits = unit < kNarrow ? narrow_ : wide_;
    if ((bits[unit % kNarrow / 32] >> unit % 32 & 1U) == 0) {
      return false;
    }
    return unit < kNarrow || set_[lengthTo(set_, unit)] == unit;
  }

 private:
  static constexpr Unit kNarrow = 256;
  const Unit *set_;
  uint32_t narrow_[kNarrow / 32] = {};
  uint32_t wide_[kNarrow / 32] = {};
};

/// The number of leading units that occur in a set.
size_t lengthInside(const Unit *s, const Unit *set)
{
  SmallSet small;
  if (small.take(set)) {
    return scan(s, kNoLimit, [&](__m128i units) { return atEnd(small.membersIn(units)); });
  }
  const LargeSet large(set);
  size_t i = 0;
  while (large.contains(s[i])) {
    ++i;
  }
  return i;
}

/// The number of leading units that do not occur in a set.
size_t lengthOutside(const Unit *s, const Unit *set)
{
  SmallSet small;
  if (small.take(set)) {
    return scan(s, kNoLimit, [&](__m128i units) { return _mm_or_si128(small.membersIn(units), atEnd(units)); });
  }
  const LargeSet large(set);
  size_t i = 0;
  while (s[i] != 0 && !large.contains(s[i])) {
    ++i;
  }
  return i;
}

struct AsIs {
  template <class T>
  T operator()(T units) const
  {
    return units;
  }
};

/// The letters a to z become capitals.
struct Capitals {
  static constexpr int kToCapital = 'a' - 'A';

  Unit operator()(Unit unit) const { return unit >= 'a' && unit <= 'z' ? static_cast<Unit>(unit - kToCapital) : unit; }

  __m128i operator()(__m128i units) const
  {
    // There is no unsigned comparison: the range from a to z is moved to the lowest signed numbers.
    const __m128i moved = _mm_add_epi16(units, _mm_set1_epi16(static_cast<int16_t>(INT16_MIN - 'a')));
    const __m128i letters = _mm_cmplt_epi16(moved, _mm_set1_epi16(INT16_MIN + 26));
    return _mm_sub_epi16(units, _mm_and_si128(letters, _mm_set1_epi16(kToCapital)));
  }
};

/// The difference of two units as the comparisons return it.
uint32_t difference(Unit a, Unit b)
{
  return static_cast<uint16_t>(a - b);
}

/// Whether s starts with t.
bool startsWith(const Unit *s, const Unit *t)
{
  return t[commonLength(t, s, kNoLimit, AsIs())] == 0;
}

/// The number of units in front of the first place where t, of two units or more, may start, or of the terminator: up
/// to three units are compared, as far as they are in one block.
size_t lengthToStart(const Unit *s, const Unit *t)
{
  if (offsetInBlock(s) % sizeof(Unit) != 0) {
    return lengthTo(s, t[0]);  // at an odd address, a unit is read without the next one
  }
  const __m128i first = spread(t[0]);
  const __m128i second = spread(t[1]);
  const __m128i third = spread(t[2]);
  const __m128i anySecond = _mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, -1);
  const __m128i anyThird = t[2] == 0 ? _mm_set1_epi16(-1) : _mm_setr_epi16(0, 0, 0, 0, 0, 0, -1, -1);
  return scan(s, kNoLimit, [=](__m128i units) {
    const __m128i isSecond = _mm_srli_si128(equalUnits<Unit>(units, second), sizeof(Unit));
    const __m128i isThird = _mm_srli_si128(equalUnits<Unit>(units, third), 2 * sizeof(Unit));
    const __m128i follow = _mm_and_si128(_mm_or_si128(isSecond, anySecond), _mm_or_si128(isThird, anyThird));
    return _mm_or_si128(_mm_and_si128(equalUnits<Unit>(units, first), follow), atEnd(units));
  });
}

}  // namespace

uint32_t Uni_strlen(const SMChar16 *s)
{
  return static_cast<uint32_t>(lengthOf(s));
}

QV_ALIAS(UCS2Strlen, Uni_strlen)
QV_ALIAS(SMUCS2Strlen, Uni_strlen)

SMChar16 *Uni_strcpy(SMChar16 *dst, const SMChar16 *src)
{
  copy(dst, src, lengthOf(src) + 1);
  return dst;
}

QV_ALIAS(UCS2Strcpy, Uni_strcpy)
QV_ALIAS(SMUCS2Strcpy, Uni_strcpy)

SMChar16 *Uni_strncpy(SMChar16 *dst, const SMChar16 *src, uint32_t n)
{
  const size_t length = lengthOf(src, n);
  copy(dst, src, length < n ? length + 1 : n);
  return dst;
}

QV_ALIAS(UCS2Strncpy, Uni_strncpy)
QV_ALIAS(SMUCS2Strncpy, Uni_strncpy)

SMChar16 *Uni_strcat(SMChar16 *dst, const SMChar16 *src)
{
  copy(dst + lengthOf(dst), src, lengthOf(src) + 1);
  return dst;
}

QV_ALIAS(UCS2Strcat, Uni_strcat)
QV_ALIAS(SMUCS2Strcat, Uni_strcat)

SMChar16 *Uni_strncat(SMChar16 *dst, const SMChar16 *src, uint32_t n)
{
  if (n == 0) {
    return dst;
  }
  SMChar16 *end = dst + lengthOf(dst);
  const size_t length = lengthOf(src, n);
  copy(end, src, length);
  end[length] = 0;
  return dst;
}

QV_ALIAS(UCS2Strncat, Uni_strncat)
QV_ALIAS(SMUCS2Strncat, Uni_strncat)

uint32_t Uni_strcmp(const SMChar16 *s, const SMChar16 *t)
{
  const size_t common = commonLength(s, t, kNoLimit, AsIs());
  return difference(s[common], t[common]);
}

QV_ALIAS(UCS2Strcmp, Uni_strcmp)
QV_ALIAS(SMUCS2Strcmp, Uni_strcmp)

SMChar16 *Uni_strchr(const SMChar16 *s, SMChar16 c)
{
  const SMChar16 *found = s + lengthTo(s, c);
  return *found == c ? const_cast<SMChar16 *>(found) : nullptr;
}

QV_ALIAS(UCS2Strchr, Uni_strchr)
QV_ALIAS(SMUCS2Strchr, Uni_strchr)

SMChar16 *Uni_strstr(const SMChar16 *s, const SMChar16 *t)
{
  if (t[0] == 0) {
    return const_cast<SMChar16 *>(s);
  }
  if (t[1] == 0) {
    return Uni_strchr(s, t[0]);
  }
  for (;; ++s) {
    s += lengthToStart(s, t);
    if (*s == 0) {
      return nullptr;
    }
    if (startsWith(s, t)) {
      return const_cast<SMChar16 *>(s);
    }
  }
}

QV_ALIAS(UCS2Strstr, Uni_strstr)
QV_ALIAS(SMUCS2Strstr, Uni_strstr)

uint32_t Uni_strspn(const SMChar16 *s, const SMChar16 *set)
{
  return static_cast<uint32_t>(lengthInside(s, set));
}

QV_ALIAS(UCS2Strspn, Uni_strspn)
QV_ALIAS(SMUCS2Strspn, Uni_strspn)

uint32_t Uni_strcspn(const SMChar16 *s, const SMChar16 *set)
{
  return static_cast<uint32_t>(lengthOutside(s, set));
}

QV_ALIAS(UCS2Strcspn, Uni_strcspn)
QV_ALIAS(SMUCS2Strcspn, Uni_strcspn)

SMChar16 *Uni_strpbrk(const SMChar16 *s, const SMChar16 *set)
{
  const SMChar16 *found = s + lengthOutside(s, set);
  return *found != 0 ? const_cast<SMChar16 *>(found) : nullptr;
}

SMChar16 *Uni_strtok(SMChar16 *s, const SMChar16 *set)
{
  if (s == nullptr) {
    s = ___Uni_strtok;
  }
  if (s == nullptr) {
    return nullptr;
  }
  s += lengthInside(s, set);
  if (*s == 0) {
    ___Uni_strtok = nullptr;
    return nullptr;
  }
  SMChar16 *end = Uni_strpbrk(s, set);
  ___Uni_strtok = end == nullptr ? nullptr : end + 1;
  if (end != nullptr) {
    *end = 0;
  }
  return s;
}

QV_ALIAS(UCS2Strtok, Uni_strtok)
QV_ALIAS(SMUCS2Strtok, Uni_strtok)

SMChar16 *Uni_strset(SMChar16 *s, SMChar16 c)
{
  fill(s, c, lengthOf(s));
  return s;
}

QV_ALIAS(UCS2Strset, Uni_strset)
QV_ALIAS(SMUCS2Strset, Uni_strset)

void Uni_strnset(SMChar16 *s, SMChar16 c, uint32_t n)
{
  fill(s, c, n);
}

QV_ALIAS(UCS2Strnset, Uni_strnset)
QV_ALIAS(SMUCS2Strnset, Uni_strnset)

SMChar16 *Uni_strrev(SMChar16 *s)
{
  qv::text::reverseUnits(s, s + lengthOf(s), qv::text::reversePairs);
  return s;
}

QV_ALIAS(UCS2Strrev, Uni_strrev)
QV_ALIAS(SMUCS2Strrev, Uni_strrev)

uint32_t Uni_memcmp(const SMChar16 *p, const SMChar16 *q, uint32_t n)
{
  size_t i = 0;
  while (n - i >= kBlockUnits && highBits(equalUnits<Unit>(load16(p + i), load16(q + i))) == qv::text::kAllBytes) {
    i += kBlockUnits;
  }
  while (i < n && p[i] == q[i]) {
    ++i;
  }
  return i == n ? 0 : difference(p[i], q[i]);
}

int32_t Uni_strncasecmp(const SMChar16 *s, const SMChar16 *t, int32_t n)
{
  if (n < 1) {
    return 0;
  }
  const auto limit = static_cast<size_t>(n);
  const Capitals capitals;
  const size_t common = commonLength(s, t, limit, capitals);
  return common == limit ? 0 : capitals(s[common]) - capitals(t[common]);
}
