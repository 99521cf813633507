// The UCS-2 string functions: the names Uni_*, UCS2Str* and SMUCS2Str* of one body each.
//
// Searches look at eight units at once (base/block.h); what is seldom called or works on short text goes unit by unit.

#include <algorithm>
#include <cstring>

#include "base/alias.h"
#include "base/block.h"
#include "base/text.h"
#include "qvsupt32/strings.h"

SMChar16 *___Uni_strtok = nullptr;

namespace {

using Unit = SMChar16;
using qv::ucs2Length;
using qv::text::commonLength;
using qv::text::equalUnits;
using qv::text::kNoLimit;
using qv::text::lengthUpTo;
using qv::text::scan;

__m128i spread(Unit unit)
{
  return _mm_set1_epi16(static_cast<int16_t>(unit));
}

__m128i atEnd(__m128i units)
{
  return qv::text::terminators<Unit>(units);
}

/// The number of units before the first unit c or the terminator.
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

/// Whether a unit occurs in a set, which the terminator never does.
bool contains(const Unit *set, Unit unit)
{
  return unit != 0 && set[lengthTo(set, unit)] == unit;
}

/// The number of leading units that occur in a set.
size_t lengthInside(const Unit *s, const Unit *set)
{
  SmallSet small;
  if (small.take(set)) {
    return scan(s, kNoLimit, [&](__m128i units) { return atEnd(small.membersIn(units)); });
  }
  size_t length = 0;
  while (contains(set, s[length])) {
    ++length;
  }
  return length;
}

/// The number of leading units that do not occur in a set.
size_t lengthOutside(const Unit *s, const Unit *set)
{
  SmallSet small;
  if (small.take(set)) {
    return scan(s, kNoLimit, [&](__m128i units) { return _mm_or_si128(small.membersIn(units), atEnd(units)); });
  }
  size_t length = 0;
  while (s[length] != 0 && !contains(set, s[length])) {
    ++length;
  }
  return length;
}

/// The difference of two units as the comparisons return it.
uint32_t difference(Unit a, Unit b)
{
  return static_cast<uint16_t>(a - b);
}

/// The letters a to z become capitals.
Unit capital(Unit unit)
{
  return unit >= 'a' && unit <= 'z' ? static_cast<Unit>(unit - 'a' + 'A') : unit;
}

/// Whether s starts with t.
bool startsWith(const Unit *s, const Unit *t)
{
  return t[commonLength(t, s)] == 0;
}

/// The number of units before the first place where t, of two units or more, may start, or before the terminator: up to
/// three units are compared, as far as they are in one block.
size_t lengthToStart(const Unit *s, const Unit *t)
{
  if (qv::text::kByUnits || qv::text::offsetInBlock(s) % sizeof(Unit) != 0) {
    return lengthTo(s, t[0]);  // a unit is read without the next one
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
  return static_cast<uint32_t>(ucs2Length(s));
}

QV_ALIAS(UCS2Strlen, Uni_strlen)
QV_ALIAS(SMUCS2Strlen, Uni_strlen)

SMChar16 *Uni_strcpy(SMChar16 *dst, const SMChar16 *src)
{
  copy(dst, src, ucs2Length(src) + 1);
  return dst;
}

QV_ALIAS(UCS2Strcpy, Uni_strcpy)
QV_ALIAS(SMUCS2Strcpy, Uni_strcpy)

SMChar16 *Uni_strncpy(SMChar16 *dst, const SMChar16 *src, uint32_t n)
{
  const size_t length = lengthUpTo(src, n);
  copy(dst, src, length < n ? length + 1 : n);
  return dst;
}

QV_ALIAS(UCS2Strncpy, Uni_strncpy)
QV_ALIAS(SMUCS2Strncpy, Uni_strncpy)

SMChar16 *Uni_strcat(SMChar16 *dst, const SMChar16 *src)
{
  copy(dst + ucs2Length(dst), src, ucs2Length(src) + 1);
  return dst;
}

QV_ALIAS(UCS2Strcat, Uni_strcat)
QV_ALIAS(SMUCS2Strcat, Uni_strcat)

SMChar16 *Uni_strncat(SMChar16 *dst, const SMChar16 *src, uint32_t n)
{
  if (n == 0) {
    return dst;
  }
  SMChar16 *end = dst + ucs2Length(dst);
  const size_t length = lengthUpTo(src, n);
  copy(end, src, length);
  end[length] = 0;
  return dst;
}

QV_ALIAS(UCS2Strncat, Uni_strncat)
QV_ALIAS(SMUCS2Strncat, Uni_strncat)

uint32_t Uni_strcmp(const SMChar16 *s, const SMChar16 *t)
{
  const size_t common = commonLength(s, t);
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
  std::fill_n(s, ucs2Length(s), c);
  return s;
}

QV_ALIAS(UCS2Strset, Uni_strset)
QV_ALIAS(SMUCS2Strset, Uni_strset)

void Uni_strnset(SMChar16 *s, SMChar16 c, uint32_t n)
{
  std::fill_n(s, n, c);
}

QV_ALIAS(UCS2Strnset, Uni_strnset)
QV_ALIAS(SMUCS2Strnset, Uni_strnset)

SMChar16 *Uni_strrev(SMChar16 *s)
{
  std::reverse(s, s + ucs2Length(s));
  return s;
}

QV_ALIAS(UCS2Strrev, Uni_strrev)
QV_ALIAS(SMUCS2Strrev, Uni_strrev)

uint32_t Uni_memcmp(const SMChar16 *p, const SMChar16 *q, uint32_t n)
{
  const auto [end, otherEnd] = std::mismatch(p, p + n, q);
  return end == p + n ? 0 : difference(*end, *otherEnd);
}

int32_t Uni_strncasecmp(const SMChar16 *s, const SMChar16 *t, int32_t n)
{
  for (int32_t i = 0; i < n; ++i) {
    const int32_t order = capital(s[i]) - capital(t[i]);
    if (order != 0 || s[i] == 0) {
      return order;
    }
  }
  return 0;
}
