// The string primitives beside std::u16string and std::string: searches, comparisons, copies and tokens of any texts,
// which end at an unreadable page and start at every distance from a block boundary.

#include <algorithm>
#include <string>
#include <vector>

#include "qvsupt32.h"
#include "tight_buffer.h"

namespace {

using fuzz::require;
using fuzz::TightBuffer;
using fuzz::TightText;
using Text = std::u16string;

constexpr size_t kInputMax = 400;

SMChar16 capital(SMChar16 unit)
{
  return unit >= u'a' && unit <= u'z' ? static_cast<SMChar16>(unit - 32) : unit;
}

uint8_t small(char c)
{
  const auto byte = static_cast<uint8_t>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<uint8_t>(byte + 32) : byte;
}

/// The difference at the first place, of at most `limit`, where the folded strings differ or s ends.
template <class String, class Fold>
int32_t foldedDifference(const String &s, const String &t, size_t limit, Fold fold)
{
  for (size_t i = 0; i < limit; ++i) {
    const int32_t difference = fold(s.c_str()[i]) - fold(t.c_str()[i]);
    if (difference != 0 || i == s.size()) {
      return difference;
    }
  }
  return 0;
}

void checkSearches(const SMChar16 *s, const SMChar16 *set)
{
  const Text text = s;
  const Text members = set;
  require(Uni_strlen(s) == text.size(), "a length");
  for (const SMChar16 unit : members + u'\0' + text.substr(0, 3)) {
    const size_t found = unit == 0 ? text.size() : text.find(unit);
    require(Uni_strchr(s, unit) == (found == text.npos ? nullptr : s + found), "a unit's place");
  }
  require(Uni_strspn(s, set) == std::min(text.size(), text.find_first_not_of(members)), "a run inside a set");
  const size_t outside = std::min(text.size(), text.find_first_of(members));
  require(Uni_strcspn(s, set) == outside, "a run outside a set");
  require(Uni_strpbrk(s, set) == (outside == text.size() ? nullptr : s + outside), "the first of a set");
}

void checkComparisons(const SMChar16 *s, const SMChar16 *t)
{
  const Text a = s;
  const Text b = t;
  const auto exact = static_cast<uint16_t>(foldedDifference(a, b, SIZE_MAX, [](SMChar16 unit) { return unit; }));
  require(Uni_strcmp(s, t) == exact, "a comparison");
  const size_t both = std::min(a.size(), b.size()) + 1;
  for (const size_t limit : {size_t{0}, size_t{1}, both / 2, both, both + 1}) {
    const auto folded = foldedDifference(a, b, limit, capital);
    require(Uni_strncasecmp(s, t, static_cast<int32_t>(limit)) == folded, "a folded comparison");
    if (limit <= both) {
      const auto units = static_cast<uint32_t>(limit);
      require((Uni_memcmp(s, t, units) == 0) == std::equal(s, s + limit, t), "a comparison of units");
    }
  }
  const size_t found = a.find(b);
  require(Uni_strstr(s, t) == (found == a.npos ? nullptr : s + found), "a string's place");
  // A part of the string itself, which is there.
  const SMChar16 *tail = s + a.size() - std::min<size_t>(a.size(), 5);
  require(Uni_strstr(s, tail) == s + a.find(tail), "the place of an end");
}

void checkCopies(const SMChar16 *s, const SMChar16 *t)
{
  const Text a = s;
  const Text b = t;
  for (const size_t limit : {size_t{0}, size_t{1}, b.size() / 2, b.size(), b.size() + 1}) {
    const auto n = static_cast<uint32_t>(limit);
    TightBuffer<SMChar16> copy(std::min(limit, b.size() + 1) * sizeof(SMChar16));
    require(Uni_strncpy(copy.data(), t, n) == copy.data(), "where a copy is");
    require(copy.holdsOnly((b + u'\0').substr(0, limit)), "a copy");
    const Text joined = a + b.substr(0, limit) + u'\0';
    TightBuffer<SMChar16> both(joined.size() * sizeof(SMChar16));
    (void)Uni_strcpy(both.data(), s);
    require(Uni_strncat(both.data(), t, n) == both.data() && both.holdsOnly(joined), "what is appended");
  }
  TightBuffer<SMChar16> both((a.size() + b.size() + 1) * sizeof(SMChar16));
  require(Uni_strcat(Uni_strcpy(both.data(), s), t) == both.data() && both.holdsOnly(a + b + u'\0'), "a joined string");
  const Text joined = a + b;
  (void)Uni_strrev(both.data());
  require(both.holdsOnly(Text(joined.rbegin(), joined.rend()) + u'\0'), "a reversed string");
  (void)Uni_strset(both.data(), u'x');
  require(both.holdsOnly(Text(joined.size(), u'x') + u'\0'), "a filled string");
}

void checkTokens(SMChar16 *s, const SMChar16 *set)
{
  const Text text = s;
  const Text members = set;
  std::vector<Text> expected;
  for (size_t at = text.find_first_not_of(members); at != text.npos; at = text.find_first_not_of(members, at)) {
    const size_t end = std::min(text.size(), text.find_first_of(members, at));
    expected.push_back(text.substr(at, end - at));
    at = end;
  }
  std::vector<Text> tokens;
  for (const SMChar16 *token = Uni_strtok(s, set); token != nullptr; token = Uni_strtok(nullptr, set)) {
    tokens.push_back(token);
  }
  require(tokens == expected && ___Uni_strtok == nullptr, "tokens");
}

void checkBytes(char *s, const char *t)
{
  const std::string a = s;
  const std::string b = t;
  const size_t both = std::min(a.size(), b.size()) + 1;
  for (const size_t limit : {size_t{0}, size_t{1}, both / 2, both, both + 1}) {
    const int32_t folded = foldedDifference(a, b, limit, small);
    require(UTF8Strnicmp(s, t, static_cast<uint32_t>(limit)) == folded, "a folded comparison of bytes");
  }
  require(std::string(strrev(s)) == std::string(a.rbegin(), a.rend()), "reversed bytes");
  (void)strrev(s);
  std::string expected = a;
  std::transform(a.begin(), a.end(), expected.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  require(strupr(s) == expected, "capitals");  // of the C locale
  const bool digits = !a.empty() && a.find_first_not_of("0123456789") == a.npos;
  require((IsASCIIIntNum(a.c_str(), 0) == SM_STATUS_SUCCESS) == digits, "a number");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  size = std::min(size, kInputMax);
  // The first byte divides the rest into two texts.
  const size_t first = size == 0 ? 0 : 1 + data[0] % size;
  const uint8_t *start = size == 0 ? data : data + 1;
  const size_t length = size == 0 ? 0 : first - 1;
  const size_t rest = size == 0 ? 0 : size - first;
  TightText<SMChar16> s(start, length);
  TightText<SMChar16> t(start + length, rest);
  checkSearches(s.get(), t.get());
  checkComparisons(s.get(), t.get());
  checkComparisons(t.get(), s.get());
  checkCopies(s.get(), t.get());
  checkTokens(s.get(), t.get());
  TightText<char> bytes(start, length);
  const TightText<char> others(start + length, rest);
  checkBytes(bytes.get(), others.get());
  return 0;
}
