// Strings: exact results and exact writes at every length and alignment, with both ends of a string where a byte too many
// is noticed; the order of units and bytes; digits.

#include <locale.h>
#include <sys/mman.h>

#include <iterator>
#include <numeric>

#include "support/test.h"

namespace {

using namespace support;
using Text = std::u16string;

constexpr size_t kBlockUnits = 8;  // what the library looks at in one step

/// Units that end at an unreadable page. In front of them stand zeros and the units of a text in turns: whoever takes
/// those for a part of the string finds too much, or too early an end.
class Guarded {
 public:
  Guarded() : block_(kMost * sizeof(SMChar16)) {}
  explicit Guarded(const Text &units) : Guarded() { hold(units); }

  /// Holds other units.
  SMChar16 *hold(const Text &units, const Text &before = u"x")
  {
    units_ = reinterpret_cast<SMChar16 *>(block_.data()) + kMost - units.size();
    std::copy(units.begin(), units.end(), units_);
    for (size_t i = 1; i <= kBlockUnits; ++i) {
      units_[-static_cast<ptrdiff_t>(i)] = i % 2 == 0 ? u'\0' : before[i / 2 % before.size()];
    }
    return units_;
  }

  operator SMChar16 *() { return units_; }

 private:
  static constexpr size_t kMost = 5100;
  GuardedBlock block_;
  SMChar16 *units_;
};

/// The units of a string with its terminator.
Text terminated(const Text &text)
{
  return text + u'\0';
}

Text randomText(std::mt19937 &random, const Text &alphabet, size_t length)
{
  Text text(length, u'\0');
  std::generate(text.begin(), text.end(), [&] { return alphabet[random() % alphabet.size()]; });
  return text;
}

TEST(Strings, SearchesStopWhereTheyShould)
{
  std::vector<size_t> lengths(70);
  std::iota(lengths.begin(), lengths.end(), 0);
  lengths.insert(lengths.end(), {2047, 2048, 5001});
  Guarded guarded;
  for (const size_t length : lengths) {
    SMChar16 *s = guarded.hold(terminated(Text(length, u'a')));
    ASSERT_EQ(Uni_strlen(s), length);
    ASSERT_EQ(Uni_strchr(s, u'\0'), s + length);
    ASSERT_EQ(nullptr, Uni_strchr(s, u'x'));
    ASSERT_EQ(Uni_strspn(s, u"ba"), length);
    ASSERT_EQ(Uni_strcspn(s, u"yx"), length);
    ASSERT_EQ(Uni_strpbrk(s, u"yx"), nullptr);
    for (size_t at = 0; at < length; at += length < 100 ? 1 : 509) {
      s[at] = u'x';
      s[length - 1] = u'x';
      ASSERT_EQ(s + at, Uni_strchr(s, u'x')) << length;
      ASSERT_EQ(Uni_strspn(s, u"ba"), at) << length;
      ASSERT_EQ(Uni_strcspn(s, u"yx"), at) << length;
      ASSERT_EQ(Uni_strpbrk(s, u"yx"), s + at) << length;
      s[at] = u'a';
      s[length - 1] = u'a';
    }
  }
}

// The sets are too large to be compared member by member, hold units with equal low bytes, or both.
TEST(Strings, SetsOfEverySize)
{
  const Text alphabet = u"\u0001Aa\u00C1\u0141\u0161\u4141\uFF41\uFFFFbcdefghijklmnopqrstuvwxyz";
  std::mt19937 random(1);
  Guarded guarded;
  Guarded otherGuarded;
  for (int round = 0; round < 3000; ++round) {
    const Text text = randomText(random, alphabet, random() % 40);
    const Text set = randomText(random, alphabet, random() % 40);
    SMChar16 *s = guarded.hold(terminated(text), alphabet);
    const SMChar16 *members = otherGuarded.hold(terminated(set));
    const size_t inside = std::min(text.size(), text.find_first_not_of(set));
    const size_t outside = std::min(text.size(), text.find_first_of(set));
    ASSERT_EQ(Uni_strspn(s, members), inside) << round;
    ASSERT_EQ(Uni_strcspn(s, members), outside) << round;
    ASSERT_EQ(Uni_strpbrk(s, members), outside == text.size() ? nullptr : s + outside) << round;
  }
}

TEST(Strings, FindsTheFirstOccurrence)
{
  SMChar16 text[] = u"abcabd";
  EXPECT_EQ(text, Uni_strstr(text, u""));
  EXPECT_EQ(Uni_strstr(text, u"abcabda"), nullptr);
  SMChar16 empty[] = u"";
  EXPECT_EQ(Uni_strstr(empty, u""), empty);
}

TEST(Strings, LimitsBeyondTheStringAndOfNothing)
{
  SMChar16 copied[] = u"......";
  EXPECT_EQ(Uni_strncpy(copied, u"abc", UINT32_MAX), copied);
  EXPECT_EQ(Text(copied, 6), Text(u"abc\0..", 6));
  SMChar16 appended[] = u"a\0....";
  EXPECT_EQ(Uni_strncat(appended, u"bc", UINT32_MAX), appended);
  EXPECT_EQ(Text(appended, 6), Text(u"abc\0..", 6));
  Guarded unterminated(u"abc");
  EXPECT_EQ(Uni_strncat(unterminated, u"d", 0), unterminated + 0);
}

// Two strings that differ nowhere or in one unit, both ending at an unreadable page or some units before it, so that they
// start at all distances from each other's block boundaries.
TEST(Strings, ComparisonsSeeEveryUnitAndNoFurther)
{
  Guarded guarded;
  Guarded otherGuarded;
  for (size_t length = 0; length < 36; ++length) {
    for (size_t behind = 0; behind < 2 * kBlockUnits; ++behind) {
      const Text text(length, u'k');
      const SMChar16 *s = guarded.hold(terminated(text));
      SMChar16 *t = otherGuarded.hold(terminated(text) + Text(behind, u'z'));
      ASSERT_EQ(Uni_strcmp(s, t), 0U);
      ASSERT_EQ(Uni_strcmp(t, s), 0U);
      ASSERT_EQ(Uni_strncasecmp(t, s, INT32_MAX), 0);
      ASSERT_EQ(Uni_memcmp(s, t, static_cast<uint32_t>(length + 1)), 0U);
      for (size_t at = 0; at <= length; ++at) {
        const auto same = static_cast<int32_t>(at);
        const SMChar16 old = t[at];
        t[at] = u'\xF000';  // the string may end behind it or go on
        const auto difference = static_cast<int32_t>(old) - 0xF000;
        if (at < length || behind > 0) {
          ASSERT_EQ(Uni_strcmp(s, t), static_cast<uint32_t>(difference & 0xFFFF)) << length << " " << at;
          ASSERT_EQ(Uni_strcmp(t, s), static_cast<uint32_t>(-difference & 0xFFFF)) << length << " " << at;
        }
        const auto folded = difference - (at < length ? 'k' - 'K' : 0);
        ASSERT_EQ(Uni_strncasecmp(s, t, same + 1), folded) << length << " " << at;
        ASSERT_EQ(Uni_strncasecmp(t, s, same + 1), -folded) << length << " " << at;
        ASSERT_EQ(Uni_strncasecmp(s, t, same), 0) << length << " " << at;
        ASSERT_EQ(Uni_memcmp(s, t, static_cast<uint32_t>(length + 1)), static_cast<uint32_t>(difference & 0xFFFF));
        ASSERT_EQ(Uni_memcmp(s, t, static_cast<uint32_t>(at)), 0U);
        t[at] = old;
      }
    }
  }
  EXPECT_EQ(Uni_strcmp(u"b", u"a"), 1U);
  EXPECT_EQ(Uni_strcmp(u"a", u"b"), 65535U);
  EXPECT_NE(Uni_memcmp(u"a\0b", u"a\0c", 3), 0U);  // a terminator is a unit like any other
  EXPECT_EQ(Uni_strncasecmp(u"a", u"b", 0), 0);
  EXPECT_EQ(Uni_strncasecmp(u"a", u"b", -1), 0);
}

TEST(Strings, LimitedComparisonsNeedNoTerminator)
{
  Guarded guarded;
  Guarded otherGuarded;
  for (size_t length = 1; length < 40; ++length) {
    for (size_t behind = 0; behind < 4; ++behind) {
      const SMChar16 *s = guarded.hold(Text(length, u'Q'));
      const SMChar16 *t = otherGuarded.hold(Text(length, u'q') + Text(behind, u'z'));
      ASSERT_EQ(Uni_strncasecmp(s, t, static_cast<int32_t>(length)), 0);
      ASSERT_EQ(Uni_strncasecmp(t, s, static_cast<int32_t>(length)), 0);
      GuardedBlock a(std::vector<uint8_t>(length, 'Q'));
      GuardedBlock b(std::vector<uint8_t>(length + behind, 'q'));
      const auto *bytes = reinterpret_cast<const char *>(a.data());
      auto *others = reinterpret_cast<char *>(b.data());
      const auto limit = static_cast<uint32_t>(length);
      ASSERT_EQ(UTF8Strnicmp(bytes, others, limit), 0);
      others[length - 1] = '\0';
      ASSERT_EQ(UTF8Strnicmp(others, bytes, limit), -'q');
      ASSERT_EQ(UTF8Strnicmp(bytes, others, limit), 'q');
      ASSERT_EQ(UTF8Strnicmp(bytes, others, limit - 1), 0);
    }
  }
}

// Every unit and every byte, where blocks are compared and where they are not.
TEST(Strings, CaseIsThatOfAsciiLettersOnly)
{
  alignas(16) SMChar16 units[kBlockUnits + 2] = u"........q";
  alignas(16) SMChar16 others[kBlockUnits + 2] = u"........q";
  alignas(16) char bytes[18] = "................q";
  alignas(16) char otherBytes[18] = "................q";
  for (const size_t at : {0U, 1U}) {  // aligned, and not
    for (int32_t unit = 0; unit <= 0xFFFF; ++unit) {
      units[at] = static_cast<SMChar16>(unit);
      for (const SMChar16 other : u"q_[") {
        others[at] = other;
        const int32_t expected = (unit >= 97 && unit <= 122 ? unit - 32 : unit) - (other == u'q' ? u'Q' : other);
        const int32_t got = Uni_strncasecmp(units + at, others + at, static_cast<int32_t>(std::size(units)) - 2);
        ASSERT_EQ(got, expected) << unit;
      }
    }
    for (int32_t byte = 0; byte <= 0xFF; ++byte) {
      bytes[at] = static_cast<char>(byte);
      for (const char other : {'Q', '_', '[', '\x80', '\0'}) {
        otherBytes[at] = other;
        const int32_t expected =
            (byte >= 65 && byte <= 90 ? byte + 32 : byte) - (other == 'Q' ? 'q' : static_cast<uint8_t>(other));
        ASSERT_EQ(UTF8Strnicmp(bytes + at, otherBytes + at, sizeof(bytes) - 2), expected) << byte;
      }
    }
  }
  EXPECT_GT(Uni_strncasecmp(u"[", u"a", 1), 0);
  EXPECT_LT(UTF8Strnicmp("[", "A", 1), 0);
  EXPECT_EQ(UTF8Strnicmp("a", "b", 0), 0);
}

TEST(Strings, TokensAreCutOutOneByOne)
{
  SMChar16 text[] = u"  a,b";
  SMChar16 *first = Uni_strtok(text, u" ,");
  EXPECT_EQ(first, text + 2);
  EXPECT_EQ(___Uni_strtok, text + 4);
  EXPECT_EQ(Uni_strtok(nullptr, u" ,"), text + 4);
  EXPECT_EQ(___Uni_strtok, nullptr);
  EXPECT_EQ(Uni_strtok(nullptr, u" ,"), nullptr);
  EXPECT_EQ(Uni_strtok(nullptr, u" ,"), nullptr);
  EXPECT_EQ(Text(u"  a\0b", 5), Text(text, 5));

  // A text that ends in a separator has a position left, but no token. The set may change from call to call.
  SMChar16 other[] = u"x=1;;";
  EXPECT_EQ(Uni_strtok(other, u"="), Text(u"x"));
  EXPECT_EQ(Uni_strtok(nullptr, u";"), Text(u"1"));
  EXPECT_EQ(___Uni_strtok, other + 4);
  EXPECT_EQ(Uni_strtok(nullptr, u";"), nullptr);
}

TEST(Strings, FillsSoManyUnitsWhateverTheyAre)
{
  Guarded guarded;
  for (uint32_t length = 0; length < 70; ++length) {
    SMChar16 *s = guarded.hold(Text(length, u'\0'));
    Uni_strnset(s, u'\x2122', length);
    EXPECT_EQ(Text(s, length), Text(length, u'\x2122'));
  }
}

// Strings that start where a readable page does.
TEST(Strings, NothingBeforeTheStringIsRead)
{
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void *const pages = mmap(nullptr, 3 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  SMChar16 *const t = static_cast<SMChar16 *>(pages) + page / sizeof(SMChar16);
  ASSERT_EQ(mprotect(t, page, PROT_READ | PROT_WRITE), 0);
  for (size_t length = 0; length < 40; ++length) {
    for (size_t before = 0; before < kBlockUnits; ++before) {
      const Text text = Text(before, u'x') + Text(length, u'a');
      const SMChar16 *const s = text.c_str() + before;
      ASSERT_EQ(t, Uni_strcpy(t, s));
      ASSERT_EQ(0U, Uni_strcmp(s, t));
      ASSERT_EQ(0U, Uni_strcmp(t, s));
      ASSERT_EQ(0, Uni_strncasecmp(s, t, 50));
      ASSERT_EQ(0, Uni_strncasecmp(t, s, 50));
      ASSERT_EQ(s, Uni_strstr(s, t));
      ASSERT_EQ(t, Uni_strstr(t, s));
      ASSERT_EQ(length, Uni_strspn(s, t));
      ASSERT_EQ(length, Uni_strspn(t, s));
      ASSERT_EQ(t, Uni_strrev(t));
    }
  }
  (void)munmap(pages, 3 * page);  // it was mapped
}

// Packed records have strings at odd addresses. The instrumented build refuses to read them.
TEST(Strings, OddAddressesAreRead)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "misaligned accesses are errors in this build";
#endif
  const Text text = terminated(u"a string of 22 units\u0100\u0001");
  std::vector<char> record(text.size() * sizeof(SMChar16) + 32);
  for (size_t odd = 1; odd < 16; odd += 2) {
    memcpy(record.data() + odd, text.data(), text.size() * sizeof(SMChar16));
    auto *s = reinterpret_cast<SMChar16 *>(record.data() + odd);
    EXPECT_EQ(Uni_strlen(s), 22U);
    EXPECT_EQ(Uni_strchr(s, u'\u0100'), s + 20);
    EXPECT_EQ(Uni_strstr(s, u"22"), s + 12);
    EXPECT_EQ(Uni_strcmp(s, text.c_str()), 0U);
    EXPECT_EQ(Uni_strcmp(text.c_str(), s), 0U);
  }
}

TEST(Strings, CaseFollowsTheLocale)
{
  char text[] = "Mixed 1_{ \xE4\xC4\xFF";
  EXPECT_EQ(text, strupr(text));
  EXPECT_STREQ(text, "MIXED 1_{ \xE4\xC4\xFF");
  EXPECT_EQ(text, strlwr(text));
  EXPECT_STREQ(text, "mixed 1_{ \xE4\xC4\xFF");

  char directory[] = "/tmp/qvsupt32-locale-XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  const std::string made = std::string(directory) + "/latin1";
  const int status = system(("localedef -i de_DE -f ISO-8859-1 " + made + " >/dev/null 2>&1").c_str());
  setenv("LOCPATH", directory, 1);
  const locale_t latin1 = newlocale(LC_CTYPE_MASK, "latin1", nullptr);
  unsetenv("LOCPATH");
  std::filesystem::remove_all(directory);
  if (latin1 == nullptr) {
    GTEST_SKIP() << "localedef makes no Latin-1 locale here, status " << status;
  }
  const locale_t old = uselocale(latin1);
  EXPECT_STREQ(strupr(text), "MIXED 1_{ \xC4\xC4\xFF");
  EXPECT_STREQ(strlwr(text), "mixed 1_{ \xE4\xE4\xFF");
  uselocale(old);
  freelocale(latin1);
}

TEST(Strings, IntegersAsDigits)
{
  const std::tuple<int32_t, int32_t, const char *> rows[] = {
      {0, 8, "0"},
      {0, 10, "0"},
      {0, 7, "0"},
      {8, 8, "10"},
      {-1, 8, "37777777777"},
      {INT32_MIN, 8, "20000000000"},
      {INT32_MAX, 10, "2147483647"},
      {INT32_MIN, 10, "-2147483648"},
      {0xABCDEF, 16, "abcdef"},
      {-1, 16, "ffffffff"},
      {-17, 0, "-17"},
      {-17, 36, "-17"},
      {-17, -2, "-17"},
      {0, 2, ""},
      {1, 2, "1"},
      {10, 2, "1010"},
      {INT32_MAX, 2, "1111111111111111111111111111111"},
      {-1, 2, "11111111111111111111111111111111"},
      {INT32_MIN, 2, "10000000000000000000000000000000"},
  };
  for (const auto &[value, radix, digits] : rows) {
    GuardedBlock block(33);
    auto *text = reinterpret_cast<char *>(block.data());
    const bool binary = radix == 2;  // whose result is the text itself
    const auto length = static_cast<intptr_t>(strlen(digits));
    EXPECT_EQ(ltostr(text, value, radix), binary ? reinterpret_cast<intptr_t>(text) : length);
    EXPECT_STREQ(text, digits);
    if (binary) {
      memset(text, '?', 33);
      EXPECT_EQ(text, dec2bin(text, value));
      EXPECT_STREQ(text, digits);
    }
  }
}

TEST(Strings, DigitStrings)
{
  const auto plain = [](const char *s) { return IsASCIIIntNum(s, 0); };
  const auto withSign = [](const char *s) { return IsASCIIIntNum(s, 256); };  // any nonzero 16 bits
  const auto capitals = [](const char *s) { return IsASCIIHexNum(s, 0); };
  const auto small = [](const char *s) { return IsASCIIHexNum(s, 1); };
  const auto octal = [](const char *s) { return IsASCIIOctalNum(s); };
  const struct {
    uint32_t (*check)(const char *);
    std::vector<const char *> good;
    std::vector<const char *> bad;
  } rows[] = {
      {plain, {"0", "0123456789"}, {"-1", "+1", "1 ", " 1", "1/", "1:", "1.0", "\xB2"}},
      {withSign, {"0", "-1", "+1", "-", "+"}, {"--1", "+-1", "1-", " -1"}},
      {capitals, {"09AF", "0x09AF", "0x"}, {"1f", "0X1", "x1", "0x0x1", "G", "@", "0x ", "-1"}},
      {small, {"09af", "0x09af", "0x", "0"}, {"1F", "0X1", "x1", "0x0x1", "g", "`"}},
      {octal, {"0", "01234567"}, {"8", "/", "-1", "0x1", "1 "}},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(row.check(nullptr), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(row.check(""), SM_STATUS_INVALID_PARAMETER);
    for (const char *text : row.good) {
      EXPECT_EQ(row.check(text), SM_STATUS_SUCCESS) << text;
    }
    for (const char *text : row.bad) {
      EXPECT_EQ(row.check(text), SM_STATUS_INVALID_PARAMETER) << text;
    }
  }
}

}  // namespace
