// Character-set conversion, dynamic strings, escapes and dumps: exact bytes, sizes and statuses, at every buffer size and
// with texts and buffers that end at an unreadable page.

#include <clocale>

#include "support/huge_text.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr uint32_t kUnsuccessful = SM_STATUS_UNSUCCESSFUL;
constexpr uint8_t kFill = 0xAA;

/// A text with its terminator, right in front of an unreadable page.
template <class Unit>
class GuardedText {
 public:
  explicit GuardedText(const std::basic_string<Unit> &text) : block_((text.size() + 1) * sizeof(Unit))
  {
    memcpy(block_.data(), text.c_str(), block_.size());
  }
  operator const Unit *() { return reinterpret_cast<const Unit *>(block_.data()); }

 private:
  GuardedBlock block_;
};

/// A buffer of whole units for `size` bytes, right in front of an unreadable page and filled with kFill. All of one kind
/// of unit share their memory: one at a time.
template <class Unit>
class GuardedBuffer {
 public:
  explicit GuardedBuffer(uint32_t size) : size_(size / sizeof(Unit) * sizeof(Unit)) { memset(*this, kFill, size_); }
  operator Unit *() { return reinterpret_cast<Unit *>(memory().data() + memory().size() - size_); }

  /// The units, those that were not written included.
  std::basic_string<Unit> units() { return {static_cast<Unit *>(*this), size_ / sizeof(Unit)}; }

 private:
  static GuardedBlock &memory()
  {
    static GuardedBlock block(1 << 17);
    return block;
  }

  size_t size_;
};

/// What a buffer of `size` bytes holds when the text was written into it and nothing else.
template <class Unit>
std::basic_string<Unit> filledUp(std::basic_string<Unit> text, uint32_t size)
{
  Unit fill;
  memset(&fill, kFill, sizeof(fill));
  text.resize(size / sizeof(Unit), fill);
  return text;
}

/// One character in both encodings.
struct Spelling {
  std::string utf8;
  std::u16string utf16;
};

uint32_t convert(char *buffer, uint32_t *size, const char16_t *text)
{
  return UCS2StrToUTF8Str(buffer, size, text);
}

uint32_t convert(char16_t *buffer, uint32_t *size, const char *text)
{
  return SMUTF8StrToUCS2Str(buffer, size, text);
}

/// Converts a text into buffers of the given sizes. Characters go in whole or not at all, and nothing else is written.
template <class From, class To>
void expectConverts(const std::vector<Spelling> &characters, std::basic_string<From> Spelling::*from,
                    std::basic_string<To> Spelling::*to, uint32_t smallest)
{
  std::basic_string<From> source;
  std::basic_string<To> whole;
  for (const Spelling &character : characters) {
    source += character.*from;
    whole += character.*to;
  }
  GuardedText<From> text(source);
  const auto needed = static_cast<uint32_t>((whole.size() + 1) * sizeof(To));

  uint32_t size = 7;
  ASSERT_EQ(convert(static_cast<To *>(nullptr), &size, text), SM_STATUS_SUCCESS);
  ASSERT_EQ(size, needed);
  for (uint32_t given = std::min(smallest, needed); given <= needed + 1; ++given) {
    GuardedBuffer<To> buffer(given);
    size = given;
    const uint32_t status = convert(buffer, &size, text);
    std::basic_string<To> expected;
    if (given >= needed) {
      ASSERT_EQ(status, SM_STATUS_SUCCESS) << given;
      ASSERT_EQ(size, needed);
      expected = whole + To{};
    } else {
      ASSERT_EQ(status, SM_STATUS_BUFFER_TOO_SMALL) << given;
      ASSERT_EQ(size, given);
      for (const Spelling &character : characters) {
        if ((expected.size() + (character.*to).size()) * sizeof(To) > given) {
          break;
        }
        expected += character.*to;
      }
    }
    ASSERT_TRUE(filledUp(expected, given) == buffer.units()) << "size " << given << " of " << needed;
  }
}

void expectConvertsBothWays(const std::vector<Spelling> &characters, uint32_t smallest = 0)
{
  expectConverts(characters, &Spelling::utf8, &Spelling::utf16, smallest);
  expectConverts(characters, &Spelling::utf16, &Spelling::utf8, smallest);
}

/// The characters of each number of bytes at both ends of their ranges, and some from inside.
const std::vector<Spelling> kSpellings[] = {
    {{"\x01", u"\x01"}, {"A", u"A"}, {"z", u"z"}, {"\x7F", u"\x7F"}},
    {{"\xC2\x80", u"\x80"}, {"\xC3\xA9", u"\xE9"}, {"\xD0\x96", u"\x416"}, {"\xDF\xBF", u"\x7FF"}},
    {{"\xE0\xA0\x80", u"\x800"},
     {"\xE4\xB8\xAD", u"\x4E2D"},
     {"\xED\x9F\xBF", u"\xD7FF"},
     {"\xEE\x80\x80", u"\xE000"},
     {"\xEF\xBF\xBF", u"\xFFFF"}},
    {{"\xF0\x90\x80\x80", u"\xD800\xDC00"},
     {"\xF0\x9F\x98\x80", u"\xD83D\xDE00"},
     {"\xF3\xBF\xBF\xBF", u"\xDBBF\xDFFF"},
     {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"}}};

TEST(StringConversion, FillsEveryBufferSizeWithWholeCharacters)
{
  std::minstd_rand random(1);
  const auto pick = [&random](size_t kind) { return kSpellings[kind][random() % kSpellings[kind].size()]; };
  // Runs of one kind, of every length around the blocks of the conversion, alone and next to another kind.
  for (size_t first = 0; first < 4; ++first) {
    for (size_t second = 0; second < 4; ++second) {
      for (size_t length = 0; length <= 36; length += length < 19 ? 1 : 5) {
        std::vector<Spelling> characters;
        for (size_t i = 0; i < length; ++i) {
          characters.push_back(pick(first));
        }
        for (size_t i = 0; i < length % 7; ++i) {
          characters.push_back(pick(second));
        }
        ASSERT_NO_FATAL_FAILURE(expectConvertsBothWays(characters)) << first << " " << second << " " << length;
      }
    }
  }
}

TEST(StringConversion, BringsEveryCodePointBack)
{
  std::string utf8;
  std::u16string utf16;
  for (uint32_t codePoint = 1; codePoint <= 0x10FFFF; ++codePoint) {
    if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
      continue;
    }
    char bytes[6];
    char16_t units[2];
    uint32_t byteCount = sizeof(bytes);
    uint32_t unitCount = 2;
    ASSERT_EQ(UCS4CharToUTF8Chars(bytes, &byteCount, codePoint), SM_STATUS_SUCCESS);
    ASSERT_EQ(UCS4CharToUTF16Chars(units, &unitCount, codePoint), SM_STATUS_SUCCESS);
    utf8.append(bytes, byteCount);
    utf16.append(units, unitCount);
  }
  std::vector<char16_t> units(utf16.size() + 1);
  auto size = static_cast<uint32_t>(units.size() * 2);
  ASSERT_EQ(UTF8StrToUCS2Str(units.data(), &size, utf8.c_str()), SM_STATUS_SUCCESS);
  EXPECT_TRUE(utf16 == units.data());
  std::vector<char> bytes(utf8.size() + 1);
  size = static_cast<uint32_t>(bytes.size());
  ASSERT_EQ(SMUCS2StrToUTF8Str(bytes.data(), &size, utf16.c_str()), SM_STATUS_SUCCESS);
  EXPECT_TRUE(utf8 == bytes.data());
}

Spelling repeated(const Spelling &character, size_t count)
{
  Spelling text;
  for (size_t i = 0; i < count; ++i) {
    text.utf8 += character.utf8;
    text.utf16 += character.utf16;
  }
  return text;
}

TEST(StringConversion, ReadsMalformedUtf8AsFarAsItIsToBeRead)
{
  struct Row {
    std::string bytes;
    std::optional<std::u16string> units;  // none: refused
  };
  const Row rows[] = {
      {"\x80", {}},
      {"\xBF", {}},
      {"\xFE", {}},
      {"\xFF", {}},
      {"\xC3", {}},
      {"\xE4\xB8", {}},
      {"\xF0\x9F\x98", {}},
      {"\xF8\x80\x80\x80", {}},
      {"\xFC\x80\x80\x80\x80", {}},
      {"\xF4\x90\x80\x80", {}},
      {"\xF7\xBF\xBF\xBF", {}},
      {"\xF8\x88\x80\x80\x80", {}},
      {"\xFD\xBF\xBF\xBF\xBF\xBF", {}},
      // Longer than the value needs.
      {"\xC0\x80", u"\0"s},
      {"\xC1\xBF", u"\x7F"},
      {"\xE0\x81\x81", u"A"},
      {"\xE0\x9F\xBF", u"\x7FF"},
      {"\xF0\x80\x81\x81", u"A"},
      {"\xF0\x8F\xBF\xBF", u"\xFFFF"},
      {"\xF8\x80\x80\x81\x81", u"A"},
      {"\xF8\x84\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
      {"\xFC\x80\x80\x80\x81\x81", u"A"},
      // Bytes inside a form that are no continuation bytes.
      {"\xC3\x41", u"\xC1"},
      {"\xC3\xC3", u"\xC3"},
      {"\xE4\x41\x41", u"\x4041"},
      {"\xE4\xB8\x41", u"\x4E01"},
      {"\xF0\x9F\x41\x80", u"\xD83C\xDC40"},
      {"\xF0\x9F\xD8\xFF", u"\xD83D\xDE3F"},
      // Surrogates spelled out, one by one.
      {"\xED\xA0\xBD\xED\xB8\x80", u"\xD83D\xDE00"},
      {"\xED\xBF\xBF", u"\xDFFF"},
  };
  for (const Row &row : rows) {
    for (const std::vector<Spelling> &kind : kSpellings) {
      for (size_t before = 0; before <= 20; ++before) {
        SCOPED_TRACE(testing::PrintToString(row.bytes) + " behind " + std::to_string(before));
        const Spelling around = repeated(kind[1], before);
        GuardedText<char> text(around.utf8 + row.bytes + (row.units ? around.utf8 : ""));
        const std::u16string expected = row.units ? around.utf16 + *row.units + around.utf16 + u'\0' : around.utf16;
        const auto needed = static_cast<uint32_t>(expected.size() * 2);
        // A character that is refused is refused also where there is no room for it.
        for (uint32_t given : {needed, needed + 32}) {
          GuardedBuffer<char16_t> buffer(given);
          uint32_t size = given;
          ASSERT_EQ(UTF8StrToUCS2Str(buffer, &size, text), row.units ? SM_STATUS_SUCCESS : SM_STATUS_BAD_TYPE);
          ASSERT_EQ(size, row.units ? needed : given);
          ASSERT_TRUE(filledUp(expected, given) == buffer.units());
        }
        uint32_t size = 1;
        ASSERT_EQ(UTF8StrToUCS2Str(nullptr, &size, text), row.units ? SM_STATUS_SUCCESS : SM_STATUS_BAD_TYPE);
        ASSERT_EQ(size, row.units ? needed : 1u);
      }
    }
  }
}

TEST(StringConversion, RefusesHalvesOfPairs)
{
  for (const char16_t *half : {u"\xD800", u"\xDBFF", u"\xDC00", u"\xDFFF",
                               u"\xD800"
                               u"A",
                               u"\xD83D\xD83D\xDE00", u"\xDE00\xD83D", u"\xD800\xE000", u"\xD83D\x4E2D"}) {
    for (const std::vector<Spelling> &kind : kSpellings) {
      for (size_t before = 0; before <= 20; ++before) {
        const Spelling around = repeated(kind[1], before);
        GuardedText<char16_t> text(around.utf16 + half);
        const auto converted = static_cast<uint32_t>(around.utf8.size());
        for (uint32_t given : {converted, converted + 32}) {
          GuardedBuffer<char> buffer(given);
          uint32_t size = given;
          ASSERT_EQ(UCS2StrToUTF8Str(buffer, &size, text), SM_STATUS_BAD_TYPE) << before;
          ASSERT_EQ(size, given);
          ASSERT_EQ(buffer.units(), filledUp(around.utf8, given));
        }
        uint32_t size = 1;
        ASSERT_EQ(UCS2StrToUTF8Str(nullptr, &size, text), SM_STATUS_BAD_TYPE);
        ASSERT_EQ(size, 1u);
      }
    }
  }
}

TEST(StringConversion, NeedsATextAndASize)
{
  char16_t units[4] = {};
  char bytes[4] = {};
  for (const auto convert : {UTF8StrToUCS2Str, LocalToUnicode}) {
    uint32_t size = 4;
    EXPECT_EQ(convert(units, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(convert(units, nullptr, "a"), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(size, 4u);
  }
  for (const auto convert : {UCS2StrToUTF8Str, UnicodeToLocal}) {
    uint32_t size = 4;
    EXPECT_EQ(convert(bytes, &size, nullptr), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(convert(bytes, nullptr, u"a"), SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(size, 4u);
  }
}

#ifdef QV_HUGE_TEXTS
TEST(StringConversion, RefusesToAskForASizeThatPasses32Bits)
{
  const HugeText text((size_t{1} << 31) - 1);
  uint32_t size = 5;
  EXPECT_EQ(UTF8StrToUCS2Str(nullptr, &size, text.bytes()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(UTF8StrToUCS2Str(nullptr, &size, text.bytes() + 1), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 0xFFFFFFFEu);
}
#endif

TEST(CodePoints, AreWrittenInTheirShortestForm)
{
  struct Row {
    uint32_t codePoint;
    std::string bytes;
    std::u16string units;  // empty: refused
  };
  const Row rows[] = {
      {0, "\0"s, u"\0"s},
      {0x7F, "\x7F", u"\x7F"},
      {0x80, "\xC2\x80", u"\x80"},
      {0x7FF, "\xDF\xBF", u"\x7FF"},
      {0x800, "\xE0\xA0\x80", u"\x800"},
      {0xD800, "\xED\xA0\x80", u"\xD800"},
      {0xDFFF, "\xED\xBF\xBF", u"\xDFFF"},
      {0xFFFF, "\xEF\xBF\xBF", u"\xFFFF"},
      {0x10000, "\xF0\x90\x80\x80", u"\xD800\xDC00"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
      {0x110000, "\xF4\x90\x80\x80", u""},
      {0x1FFFFF, "\xF7\xBF\xBF\xBF", u""},
      {0x200000, "\xF8\x88\x80\x80\x80", u""},
      {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF", u""},
      {0x4000000, "\xFC\x84\x80\x80\x80\x80", u""},
      {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF", u""},
  };
  const auto expectWrites = [](auto encode, uint32_t codePoint, const auto &expected) {
    using Unit = typename std::decay_t<decltype(expected)>::value_type;
    const auto length = static_cast<uint32_t>(expected.size());
    uint32_t size = 9;
    ASSERT_EQ(encode(nullptr, &size, codePoint), SM_STATUS_SUCCESS);
    ASSERT_EQ(size, length);
    for (uint32_t given = 0; given <= length + 1; ++given) {
      GuardedBuffer<Unit> buffer(given * static_cast<uint32_t>(sizeof(Unit)));
      size = given;
      ASSERT_EQ(encode(buffer, &size, codePoint), given < length ? SM_STATUS_BUFFER_TOO_SMALL : SM_STATUS_SUCCESS);
      ASSERT_EQ(size, given < length ? given : length);
      const auto bytes = given * static_cast<uint32_t>(sizeof(Unit));
      ASSERT_TRUE(filledUp(given < length ? expected.substr(0, 0) : expected, bytes) == buffer.units());
    }
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.codePoint);
    expectWrites(UCS4CharToUTF8Chars, row.codePoint, row.bytes);
    uint32_t codePoint = 1;
    uint32_t consumed = 0;
    EXPECT_EQ(UTF8CharsToUCS4Char(&codePoint, GuardedText<char>(row.bytes), &consumed), SM_STATUS_SUCCESS);
    EXPECT_EQ(codePoint, row.codePoint);
    EXPECT_EQ(consumed, row.bytes.size());
    if (!row.units.empty()) {
      expectWrites(UCS4CharToUTF16Chars, row.codePoint, row.units);
    } else {
      uint32_t size = 0;  // refused before it is found too small
      char16_t unit;
      EXPECT_EQ(UCS4CharToUTF16Chars(&unit, &size, row.codePoint), SM_STATUS_BAD_TYPE);
      EXPECT_EQ(size, 0u);
    }
  }
  uint32_t size = 0;
  char byte;
  EXPECT_EQ(UCS4CharToUTF8Chars(&byte, &size, 0x80000000), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(UCS4CharToUTF8Chars(nullptr, &size, 0xFFFFFFFF), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(size, 0u);
}

TEST(CodePoints, TellWhatCannotBeRead)
{
  for (const char *bytes :
       {"\x80", "\xBF", "\xFE", "\xFF", "\xC3", "\xE4\xB8", "\xF0\x9F\x98", "\xFD\xBF\xBF\xBF\xBF"}) {
    uint32_t codePoint = 1;
    uint32_t consumed = 9;
    EXPECT_EQ(UTF8CharsToUCS4Char(&codePoint, GuardedText<char>(bytes), &consumed), SM_STATUS_BAD_TYPE);
    EXPECT_EQ(codePoint, 0u);
    EXPECT_EQ(consumed, 9u);
  }
  const auto read = [](const char16_t *units) {
    uint32_t codePoint = 1;
    const uint32_t status = UTF16CharsToUCS4Char(&codePoint, GuardedText<char16_t>(units));
    return std::pair(status, codePoint);
  };
  EXPECT_EQ(read(u""), std::pair(SM_STATUS_SUCCESS, 0u));
  EXPECT_EQ(read(u"\xD7FF"), std::pair(SM_STATUS_SUCCESS, 0xD7FFu));
  EXPECT_EQ(read(u"\xE000"), std::pair(SM_STATUS_SUCCESS, 0xE000u));
  EXPECT_EQ(read(u"\xD83D\xDE00"), std::pair(SM_STATUS_SUCCESS, 0x1F600u));
  EXPECT_EQ(read(u"\xD83D"), std::pair(SM_STATUS_BAD_TYPE, 0xD83Du));
  EXPECT_EQ(read(u"\xD83D"
                 u"A"),
            std::pair(SM_STATUS_BAD_TYPE, 0xD83Du));
  EXPECT_EQ(read(u"\xDE00\xDE00"), std::pair(SM_STATUS_BAD_TYPE, 0xDE00u));
}

/// Sets the locale for a test; false when the machine lacks it.
class Locale {
 public:
  explicit Locale(const char *name) : set_(setlocale(LC_ALL, name) != nullptr) {}
  ~Locale() { setlocale(LC_ALL, "C"); }
  Locale(const Locale &) = delete;
  Locale &operator=(const Locale &) = delete;
  explicit operator bool() const { return set_; }

 private:
  bool set_;
};

template <class Unit, class From, class Conversion>
void expectLocal(Conversion conversion, const std::basic_string<From> &source, const std::basic_string<Unit> &expected)
{
  GuardedText<From> text(source);
  const auto needed = static_cast<uint32_t>((expected.size() + 1) * sizeof(Unit));
  uint32_t size = 1;
  ASSERT_EQ(conversion(nullptr, &size, text), SM_STATUS_SUCCESS);
  ASSERT_EQ(size, needed);
  for (uint32_t given = 0; given <= needed + 1; ++given) {
    GuardedBuffer<Unit> buffer(given);
    size = given;
    ASSERT_EQ(conversion(buffer, &size, text),
              given == 0 || given >= needed ? SM_STATUS_SUCCESS : SM_STATUS_BUFFER_TOO_SMALL);
    ASSERT_EQ(size, needed);
    ASSERT_TRUE(filledUp(given < needed ? expected.substr(0, 0) : expected + Unit{}, given) == buffer.units()) << given;
  }
}

template <class Unit, class From, class Conversion>
void expectNotLocal(Conversion conversion, const std::basic_string<From> &source)
{
  for (uint32_t given : {0, 1, 64}) {
    GuardedBuffer<Unit> buffer(given);
    uint32_t size = given;
    EXPECT_EQ(conversion(buffer, &size, GuardedText<From>(source)), kUnsuccessful);
    EXPECT_EQ(size, given);
    EXPECT_TRUE(filledUp(std::basic_string<Unit>(), given) == buffer.units());
  }
}

TEST(LocalEncoding, ConvertsAsciiInEveryLocale)
{
  for (const char *name : {"C", "C.UTF-8", "en_US.UTF-8", "de_DE.ISO-8859-1"}) {
    Locale locale(name);
    if (!locale) {
      printf("skipped: this machine has no locale %s\n", name);
      continue;
    }
    for (size_t length : {0, 1, 2, 255, 256, 257, 600}) {
      const std::string bytes(length, 'a');
      const std::u16string units(length, u'a');
      expectLocal(LocalToUnicode, bytes, units);
      expectLocal(ASCIIToUnicode, bytes, units);
      expectLocal(UnicodeToLocal, units, bytes);
      expectLocal(UnicodeToASCII, units, bytes);
    }
  }
  expectNotLocal<char>(UnicodeToLocal, std::u16string(u"a\xE9"));  // in the locale C
}

TEST(LocalEncoding, ConvertsWhatTheLocaleCanExpress)
{
  unsigned converted = 0;
  for (const char *name : {"C.UTF-8", "en_US.UTF-8"}) {
    Locale locale(name);
    if (!locale) {
      printf("skipped: this machine has no locale %s\n", name);
      continue;
    }
    ++converted;
    std::string bytes;
    std::u16string units;
    for (size_t length = 0; length < 300; ++length) {  // characters of several bytes at the ends of the parts
      bytes += length % 3 == 0 ? "\xE4\xB8\xAD" : "\xC3\xA9";
      units += length % 3 == 0 ? u'\x4E2D' : u'\xE9';
      if (length < 4 || length > 250) {
        expectLocal(LocalToUnicode, bytes, units);
        expectLocal(UnicodeToLocal, units, bytes);
      }
    }
    expectLocal(LocalToUnicode, std::string("\xF0\x9F\x98\x80"), std::u16string(u"\xF600"));
    expectNotLocal<char>(UnicodeToLocal, std::u16string(u"\xD83D\xDE00"));
    expectNotLocal<char>(UnicodeToLocal, units + u'\xDE00');
    expectNotLocal<char16_t>(LocalToUnicode, std::string("a\xC3"));
    expectNotLocal<char16_t>(LocalToUnicode, bytes + "\xFF");
  }
  if (converted == 0) {
    GTEST_SKIP() << "this machine has no UTF-8 locale";
  }
}

TEST(Escape, SpellsEveryUnit)
{
  std::u16string units;
  std::string expected;
  for (uint32_t unit = 1; unit <= 0xFFFF; ++unit) {
    units += static_cast<char16_t>(unit);
    char spelled[7];
    snprintf(spelled, sizeof(spelled), unit >= 32 && unit <= 127 ? "%c" : "\\u%04x", unit);
    expected += unit == 9 ? "\\t" : unit == 10 ? "\\n" : unit == 13 ? "\\r" : unit == 92 ? "\\\\" : spelled;
  }
  std::vector<char> buffer(expected.size() + 1);
  auto size = static_cast<uint32_t>(buffer.size());
  ASSERT_EQ(UCS2ToEscape(buffer.data(), &size, GuardedText<char16_t>(units)), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, buffer.size());
  EXPECT_TRUE(expected == buffer.data());
}

TEST(Escape, TellsTheSizeNeeded)
{
  GuardedText<char16_t> text(u"\tA\xE9\\");
  const std::string expected("\\tA\\u00e9\\\\");
  for (uint32_t given = 0; given <= 13; ++given) {
    GuardedBuffer<char> buffer(given);
    for (char *out : {static_cast<char *>(buffer), static_cast<char *>(nullptr)}) {
      uint32_t size = given;
      EXPECT_EQ(SMUCS2ToEscape(out, &size, text), given < 12 ? SM_STATUS_BUFFER_TOO_SMALL : SM_STATUS_SUCCESS) << given;
      EXPECT_EQ(size, 12u);
    }
    EXPECT_EQ(buffer.units(), filledUp(given < 12 ? std::string() : expected + '\0', given));
  }
  GuardedBuffer<char> buffer(12);
  EXPECT_EQ(UCS2ToEscape(buffer, nullptr, text), SM_STATUS_SUCCESS);
  EXPECT_STREQ(buffer, expected.c_str());
  EXPECT_EQ(UCS2ToEscape(nullptr, nullptr, text), SM_STATUS_SUCCESS);
  EXPECT_EQ(UCS2ToEscape(buffer, nullptr, nullptr), SM_STATUS_BAD_ARGUMENT);
}

TEST(Escape, FailsWithoutMemory)
{
  const std::u16string text(5000, u'\x4E2D');  // the working string has to grow
  char buffer[8] = "kept";
  const unsigned failures = failEach(Call::allocation, ENOMEM, [&](unsigned nth) {
    uint32_t size = sizeof(buffer);
    const long blocks = liveBlocks();
    const uint32_t status = UCS2ToEscape(buffer, &size, text.c_str());
    EXPECT_EQ(liveBlocks(), blocks);
    EXPECT_EQ(size, status == kUnsuccessful ? sizeof(buffer) : 30001u) << nth;
    EXPECT_TRUE(status == kUnsuccessful || nth == 5) << nth;
  });
  EXPECT_EQ(failures, 4u);  // 6144 bytes, and three times double
  EXPECT_STREQ(buffer, "kept");
}

/// A record that is freed at the end of the test.
struct Utf8Record : SSUTF8Str {
  explicit Utf8Record(uint32_t size) : SSUTF8Str{} { SSUTF8StrAlloc(this, size); }
  ~Utf8Record() { SMSSUTF8StrFree(this); }
};

struct Ucs2Record : SSUCS2Str {
  explicit Ucs2Record(uint32_t size) : SSUCS2Str{} { SMSSUCS2StrAlloc(this, size); }
  ~Ucs2Record() { SMSSUCS2StrFree(this); }
};

TEST(DynamicString, BeginsEmptyAndEndsCleared)
{
  SSUTF8Str record = {nullptr, 77, 78};
  EXPECT_EQ(SSUTF8StrAlloc(&record, 0), nullptr);
  EXPECT_EQ(record.strBufSize, 77u);
  EXPECT_EQ(record.strLen, 78u);
  ASSERT_NE(SMSSUTF8StrAlloc(&record, 16), nullptr);
  EXPECT_STREQ(record.pStr, "");
  EXPECT_EQ(record.strBufSize, 16u);
  EXPECT_EQ(record.strLen, 0u);
  SSUTF8StrFree(&record);
  EXPECT_EQ(record.pStr, nullptr);
  EXPECT_EQ(record.strBufSize, 0u);
  SSUTF8StrFree(&record);
  SSUTF8StrFree(nullptr);
  EXPECT_EQ(SSUTF8StrAlloc(nullptr, 5), nullptr);
}

TEST(DynamicString, BeginsNotWithoutMemory)
{
  char16_t other[] = u"not the record's";
  SSUCS2Str units = {other, 1, 1};
  Fault fault(Call::allocation, 1);
  EXPECT_EQ(SSUCS2StrAlloc(&units, 16), nullptr);
  EXPECT_EQ(units.pStr, nullptr);
}

TEST(DynamicString, GrowsByItsRule)
{
  struct Row {
    uint32_t size;
    uint32_t held;
    uint32_t added;
    uint32_t grown;
  };
  const Row rows[] = {
      {16, 8, 7, 16},
      {16, 8, 8, 32},
      {16, 8, 10, 32},
      {16, 8, 23, 32},
      {16, 8, 24, 33},
      {16, 0, 1000, 1001},
      {1, 0, 0, 1},
      {1, 0, 1, 2},
      {0xFFFFF, 0xFFFFE, 1, 0x1FFFFE},
      {0x100000, 0xFFFFF, 1, 0x140000},
      {0x100003, 0x100002, 1, 0x140003},
      {0x100000, 0xFFFFF, 0x50000, 0x150000},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::tuple(row.size, row.held, row.added)));
    Utf8Record record(row.size);
    const std::string held(row.held, 'h');
    const std::string added(row.added, 'a');
    ASSERT_EQ(record.pStr, SSUTF8StrCatUTF8Str(&record, held.c_str()));
    EXPECT_EQ(record.strBufSize, row.size);
    ASSERT_EQ(record.pStr, SSUTF8StrCatUTF8Str(&record, added.c_str()));
    EXPECT_EQ(record.strBufSize, row.grown);
    EXPECT_EQ(record.strLen, row.held + row.added);
    EXPECT_TRUE(held + added == record.pStr);
  }
  // Units of two bytes; one byte alone has no room for a terminator, and gets it.
  for (uint32_t size : {1u, 2u, 3u}) {
    Ucs2Record record(size);
    SSUCS2StrCatUCS2Str(&record, u"");
    EXPECT_EQ(record.strBufSize, std::max(size, 2u));
    SSUCS2StrCatUTF8Str(&record, "abc");
    EXPECT_EQ(record.strBufSize, 8u);
    SSUCS2StrCatUCS2Str(&record, u"defg");
    EXPECT_EQ(record.strBufSize, 16u);
    EXPECT_TRUE(std::u16string(u"abcdefg") == record.pStr);
  }
}

TEST(DynamicString, ConvertsWhatItAppends)
{
  Ucs2Record units(16);
  SSUCS2StrCatUCS2Str(&units, u"\xD83D");  // appended as it is
  SMSSUCS2StrCatUCS2Str(&units, u"\xDE00");
  SMSSUCS2StrCatUTF8Str(&units, "\xE4\xB8\xAD\xC0\x80z");
  EXPECT_TRUE(std::u16string(u"\xD83D\xDE00\x4E2D\0z", 5) == std::u16string(units.pStr, units.strLen));
  EXPECT_EQ(units.pStr[units.strLen], 0);

  Utf8Record bytes(16);
  SMSSUTF8StrCatUTF8Str(&bytes, "\xFF");  // appended as it is
  SMSSUTF8StrCatUCS2Str(&bytes, u"\xD83D\xDE00\x4E2Dz");
  EXPECT_STREQ(bytes.pStr, "\xFF\xF0\x9F\x98\x80\xE4\xB8\xADz");
  EXPECT_EQ(bytes.strLen, 9u);
}

TEST(DynamicString, ReadsNoFurtherThanTheTerminator)
{
  for (const std::vector<Spelling> &kind : kSpellings) {
    Spelling text;
    for (size_t length = 0; length < 40; ++length) {
      Utf8Record bytes(1);
      SSUTF8StrCatUTF8Str(&bytes, GuardedText<char>(text.utf8));
      SSUTF8StrCatUCS2Str(&bytes, GuardedText<char16_t>(text.utf16));
      ASSERT_EQ(bytes.pStr, text.utf8 + text.utf8);
      Ucs2Record units(1);
      SSUCS2StrCatUTF8Str(&units, GuardedText<char>(text.utf8));
      SSUCS2StrCatUCS2Str(&units, GuardedText<char16_t>(text.utf16));
      ASSERT_EQ(units.pStr, text.utf16 + text.utf16);
      text.utf8 += kind[length % kind.size()].utf8;
      text.utf16 += kind[length % kind.size()].utf16;
    }
  }
}

TEST(DynamicString, StaysAsItIsWithoutText)
{
  for (uint32_t size : {64, 4}) {  // with room and without
    Ucs2Record units(size);
    SSUCS2StrCatUCS2Str(&units, u"k");
    Utf8Record bytes(size);
    SSUTF8StrCatUTF8Str(&bytes, "k");
    EXPECT_EQ(units.pStr, SSUCS2StrCatUCS2Str(&units, nullptr));
    EXPECT_EQ(units.pStr, SSUCS2StrCatUTF8Str(&units, nullptr));
    EXPECT_EQ(units.pStr, SSUCS2StrCatUTF8Str(&units, "abcdef\xFF"));
    EXPECT_EQ(SSUTF8StrCatUTF8Str(&bytes, nullptr), bytes.pStr);
    EXPECT_EQ(SSUTF8StrCatUCS2Str(&bytes, nullptr), bytes.pStr);
    EXPECT_EQ(SSUTF8StrCatUCS2Str(&bytes, u"abcdef\xDC00"), bytes.pStr);
    EXPECT_EQ(size, units.strBufSize);
    EXPECT_EQ(size, bytes.strBufSize);
    EXPECT_EQ(units.strLen, 1u);
    EXPECT_TRUE(std::u16string(u"k") == units.pStr);
    EXPECT_STREQ(bytes.pStr, "k");
  }
  SSUCS2Str noUnits = {};
  SSUTF8Str noBytes = {};
  EXPECT_EQ(SSUCS2StrCatUCS2Str(&noUnits, u"a"), nullptr);
  EXPECT_EQ(SSUCS2StrCatUTF8Str(&noUnits, "a"), nullptr);
  EXPECT_EQ(SSUTF8StrCatUTF8Str(&noBytes, "a"), nullptr);
  EXPECT_EQ(SSUTF8StrCatUCS2Str(&noBytes, u"a"), nullptr);
  EXPECT_EQ(SSUTF8StrCatUCS2Str(nullptr, u"a"), nullptr);
}

TEST(DynamicString, AppendsItsOwnText)
{
  Utf8Record record(4);
  SSUTF8StrCatUTF8Str(&record, "abc");
  for (int i = 0; i < 5; ++i) {  // with a new buffer, and without
    SSUTF8StrCatUTF8Str(&record, record.pStr);
  }
  ASSERT_EQ(record.strLen, 96u);
  SSUTF8StrCatUTF8Str(&record, record.pStr + 95);
  std::string expected;
  for (int i = 0; i < 32; ++i) {
    expected += "abc";
  }
  EXPECT_EQ(record.pStr, expected + "c");
}

#ifdef QV_HUGE_TEXTS
TEST(DynamicString, NeverPasses32Bits)
{
  const HugeText memory(size_t{1} << 32);
  // The texts are said to be as long as a buffer of 0xFFFFFFFF bytes allows but for three bytes or units.
  SSUTF8Str bytes = {memory.bytes(), 0xFFFFFFFF, 0xFFFFFFFB};
  SSUCS2Str units = {memory.units(), 0xFFFFFFFF, 0x7FFFFFFB};
  EXPECT_EQ(SSUTF8StrCatUTF8Str(&bytes, "0123456789"), bytes.pStr);
  EXPECT_EQ(SSUTF8StrCatUCS2Str(&bytes, u"0123456789"), bytes.pStr);
  EXPECT_EQ(units.pStr, SSUCS2StrCatUCS2Str(&units, u"0123456789"));
  EXPECT_EQ(units.pStr, SSUCS2StrCatUTF8Str(&units, "0123456789"));
  EXPECT_EQ(bytes.strLen, 0xFFFFFFFBu);
  EXPECT_EQ(units.strLen, 0x7FFFFFFBu);
  EXPECT_STREQ(bytes.pStr + bytes.strLen, "");
  EXPECT_EQ(units.pStr[units.strLen], 0);
  SSUTF8StrCatUTF8Str(&bytes, "abc");
  SSUCS2StrCatUTF8Str(&units, "abc");
  EXPECT_EQ(bytes.strLen, 0xFFFFFFFEu);
  EXPECT_EQ(units.strLen, 0x7FFFFFFEu);
  EXPECT_EQ(bytes.strBufSize, 0xFFFFFFFFu);
}
#endif

TEST(DynamicString, KeepsItsTextWithoutMemory)
{
  const std::string bytes(100, 'b');
  const std::u16string units(100, u'u');
  const std::function<const void *(SSUCS2Str *, SSUTF8Str *)> appends[] = {
      [&](SSUCS2Str *to, SSUTF8Str *) { return SSUCS2StrCatUCS2Str(to, units.c_str()); },
      [&](SSUCS2Str *to, SSUTF8Str *) { return SSUCS2StrCatUTF8Str(to, bytes.c_str()); },
      [&](SSUCS2Str *, SSUTF8Str *to) { return SSUTF8StrCatUTF8Str(to, bytes.c_str()); },
      [&](SSUCS2Str *, SSUTF8Str *to) { return SSUTF8StrCatUCS2Str(to, units.c_str()); }};
  for (const auto &append : appends) {
    Ucs2Record toUnits(32);
    Utf8Record toBytes(32);
    SSUCS2StrCatUCS2Str(&toUnits, u"kept");
    SSUTF8StrCatUTF8Str(&toBytes, "kept");
    {
      const Fault fault(Call::allocation, 1, ENOMEM, true);
      EXPECT_NE(append(&toUnits, &toBytes), nullptr);
      EXPECT_TRUE(fault.struck());
    }
    EXPECT_TRUE(toUnits.strBufSize == 32 && toBytes.strBufSize == 32);
    EXPECT_EQ(toUnits.pStr, std::u16string(u"kept"));
    EXPECT_STREQ(toBytes.pStr, "kept");
    append(&toUnits, &toBytes);
    EXPECT_EQ(toUnits.strLen + toBytes.strLen, 108u);
  }
}

constexpr char kDump[] =
    "0x00000100: 00 09 1F 20:21 41 7A 7B:7E 7F 80 FF:30 31 32 33    ... !Az.....0123 \r\n"
    "0x00000110: 61 62 63 64:65                                     abcde            \r\n";
constexpr uint8_t kDumped[] =
    "\x00\x09\x1F !Az{~\x7F\x80\xFF"
    "0123abcde";
constexpr uint32_t kDumpedCount = 21;

TEST(Dump, ShowsSixteenBytesALine)
{
  Utf8Record record(16);
  SSUTF8StrCatUTF8Str(&record, "dump:");
  EXPECT_EQ(BufToSSUTF8Str(&record, kDumped, kDumpedCount, 0x100), SM_STATUS_SUCCESS);
  EXPECT_EQ(record.pStr, std::string("dump:") + kDump);
  EXPECT_EQ(record.strLen, 5u + 2 * 82);
  EXPECT_EQ(record.strBufSize, 176u);  // 88 for the first line, and twice that for the second

  uint32_t count = kDumpedCount;
  const std::unique_ptr<char, void (*)(void *)> text(BufToUTF8Str(kDumped, &count, 0x100), SMFreeMem);
  EXPECT_STREQ(text.get(), kDump);
  EXPECT_EQ(count, 2u * 82 + 1);

  Ucs2Record units(16);
  SSUCS2StrCatUTF8Str(&units, "dump:");
  EXPECT_EQ(SMBufToUCS2Str(&units, kDumped, kDumpedCount, 0x100), SM_STATUS_SUCCESS);
  EXPECT_EQ(std::string(units.pStr, units.pStr + units.strLen), std::string("dump:") + kDump);
  EXPECT_EQ(units.strBufSize, (5u + 2 * 82 + 1) * 2);
}

TEST(Dump, OfNothingIsEmpty)
{
  uint32_t count = 0;
  EXPECT_EQ(BufToSSUTF8Str(nullptr, kDumped, 0, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(BufToSSUTF8Str(nullptr, nullptr, 5, 0), SM_STATUS_SUCCESS);
  for (const uint8_t *bytes : {kDumped, static_cast<const uint8_t *>(nullptr)}) {
    count = bytes == nullptr ? 5 : 0;
    const std::unique_ptr<char, void (*)(void *)> text(BufToUTF8Str(bytes, &count, 0), SMFreeMem);
    EXPECT_STREQ(text.get(), "");
    EXPECT_EQ(count, 1u);
  }
  EXPECT_EQ(BufToUTF8Str(kDumped, nullptr, 0), nullptr);
  count = 0xFFFFFFFF;  // a dump that no count can tell the length of
  EXPECT_EQ(BufToUTF8Str(kDumped, &count, 0), nullptr);
  EXPECT_EQ(count, 0xFFFFFFFFu);
  Ucs2Record units(16);
  EXPECT_EQ(BufToUCS2Str(&units, nullptr, 5, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(units.strLen, 0u);
  SSUCS2Str noUnits = {};
  SSUTF8Str noBytes = {};
  EXPECT_EQ(BufToUCS2Str(&noUnits, nullptr, 0, 0), kUnsuccessful);
  EXPECT_EQ(BufToSSUTF8Str(&noBytes, kDumped, 1, 0), kUnsuccessful);
  EXPECT_EQ(BufToSSUTF8Str(nullptr, kDumped, 1, 0), kUnsuccessful);
}

TEST(Dump, FailsWithoutMemory)
{
  const std::vector<uint8_t> bytes(16 * 30, 'b');  // 2460 characters: the working string has to grow once
  const auto count = static_cast<uint32_t>(bytes.size());
  const long blocks = liveBlocks();
  EXPECT_EQ(failEach(Call::allocation, ENOMEM,
                     [&](unsigned nth) {
                       uint32_t size = count;
                       char *text = BufToUTF8Str(bytes.data(), &size, 0);
                       EXPECT_EQ(nth == 1, text == nullptr);
                       EXPECT_EQ(size, nth == 1 ? count : 2461u);
                       SMFreeMem(text);
                     }),
            1u);
  // A buffer for exactly five lines, and none for the sixth: what was appended stays.
  Utf8Record record(5 * 82 + 1);
  {
    Fault fault(Call::allocation, 1);
    EXPECT_EQ(BufToSSUTF8Str(&record, bytes.data(), 96, 0), kUnsuccessful);
  }
  EXPECT_EQ(record.strLen, 5u * 82);
  // The working string, its growth, the append to the record.
  const uint32_t statuses[] = {SM_STATUS_NO_MEMORY, kUnsuccessful, SM_STATUS_SUCCESS, SM_STATUS_SUCCESS};
  Ucs2Record units(16);
  EXPECT_EQ(failEach(Call::allocation, ENOMEM,
                     [&](unsigned nth) {
                       EXPECT_EQ(statuses[nth - 1], BufToUCS2Str(&units, bytes.data(), count, 0)) << nth;
                       EXPECT_EQ(units.strLen, nth == 4 ? 2460u : 0u);
                     }),
            3u);
  SSUTF8StrFree(&record);
  SSUCS2StrFree(&units);
  EXPECT_EQ(liveBlocks(), blocks);
}

}  // namespace
