// Character-set conversion, dynamic strings, escapes and dumps: exact bytes, sizes and statuses, at every buffer size and
// with texts and buffers that end at an unreadable page.

#include <clocale>

#include "../fuzz/tight_buffer.h"
#include "support/huge_text.h"
#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;
using fuzz::TightBuffer;
using fuzz::TightText;

/// A text with its terminator, right before an unreadable page.
template <class Unit>
TightText<Unit> tight(const std::basic_string<Unit> &text)
{
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size() * sizeof(Unit)};
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

/// Converts characters, and a piece after them that is refused unless it is empty, into buffers of every size. Characters
/// go in whole or not at all, nothing else is written, and what is refused is refused also where it has no room.
template <class From, class To>
void expectConverts(const std::vector<Spelling> &characters, std::basic_string<From> Spelling::*from,
                    std::basic_string<To> Spelling::*to, const std::basic_string<From> &refused = {})
{
  std::basic_string<From> source;
  std::basic_string<To> whole;
  for (const Spelling &character : characters) {
    source += character.*from;
    whole += character.*to;
  }
  const auto text = tight(source + refused);
  const auto needed = static_cast<uint32_t>((whole.size() + 1) * sizeof(To));

  uint32_t size = 7;
  ASSERT_EQ(convert(static_cast<To *>(nullptr), &size, text.get()), refused.empty() ? kOk : kBadType);
  ASSERT_EQ(size, refused.empty() ? needed : 7);
  for (uint32_t given = 0; given <= needed + 1; ++given) {
    std::basic_string<To> expected;
    auto next = characters.begin();
    while (next != characters.end() && (expected.size() + (*next.*to).size()) * sizeof(To) <= given) {
      expected += *next++.*to;
    }
    const uint32_t status = next != characters.end() ? kTooSmall
                            : !refused.empty()       ? kBadType
                            : given < needed         ? kTooSmall
                                                     : kOk;
    if (status == kOk) {
      expected += To{};
    }
    TightBuffer<To> buffer(given);
    size = given;
    ASSERT_EQ(convert(buffer.data(), &size, text.get()), status) << given;
    ASSERT_EQ(size, status == kOk ? needed : given);
    ASSERT_TRUE(buffer.holdsOnly(expected)) << "size " << given << " of " << needed;
  }
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

/// Bytes that no character begins with, or that end before the character does.
const std::string kUnreadable[] = {
    "\x80", "\xBF", "\xFE", "\xFF", "\xC3", "\xE4\xB8", "\xF0\x9F\x98", "\xF8\x80\x80\x80", "\xFD\xBF\xBF\xBF\xBF"};

TEST(StringConversion, FillsEveryBufferSizeWithWholeCharacters)
{
  std::minstd_rand random(1);
  const auto pick = [&random](size_t kind) { return kSpellings[kind][random() % kSpellings[kind].size()]; };
  // Runs of one kind, of every length around the blocks of the conversion, alone and next to another kind.
  for (size_t first = 0; first < 4; ++first) {
    for (size_t second = 0; second < 4; ++second) {
      for (size_t length = 0; length <= 36; length += length < 19 ? 1 : 5) {
        std::vector<Spelling> characters;
        for (size_t i = 0; i < length + length % 7; ++i) {
          characters.push_back(pick(i < length ? first : second));
        }
        SCOPED_TRACE(std::to_string(length) + " of " + std::to_string(first) + " and some of " +
                     std::to_string(second));
        ASSERT_NO_FATAL_FAILURE(expectConverts(characters, &Spelling::utf8, &Spelling::utf16));
        ASSERT_NO_FATAL_FAILURE(expectConverts(characters, &Spelling::utf16, &Spelling::utf8));
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

TEST(StringConversion, ReadsMalformedTextAsFarAsItIsToBeRead)
{
  std::vector<std::string> refused(std::begin(kUnreadable), std::end(kUnreadable));
  refused.insert(refused.end(), {"\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF", "\xFD\xBF\xBF\xBF\xBF\xBF"});  // too high
  const std::u16string halves[] = {u"\xD800",       u"\xDBFF",       u"\xDC00",
                                   u"\xDFFF",       u"\xD800\x41",   u"\xD83D\xD83D\xDE00",
                                   u"\xDE00\xD83D", u"\xD800\xE000", u"\xD83D\x4E2D"};
  const Spelling read[] = {
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
      // A surrogate spelled out.
      {"\xED\xBF\xBF", u"\xDFFF"},
  };
  for (const std::vector<Spelling> &kind : kSpellings) {
    for (size_t before = 0; before <= 20; ++before) {
      const std::vector<Spelling> run(before, kind[1]);
      for (const std::string &piece : refused) {
        SCOPED_TRACE(testing::PrintToString(piece) + " after " + std::to_string(before));
        ASSERT_NO_FATAL_FAILURE(expectConverts(run, &Spelling::utf8, &Spelling::utf16, piece));
      }
      for (const std::u16string &half : halves) {
        SCOPED_TRACE(testing::PrintToString(half) + " after " + std::to_string(before));
        ASSERT_NO_FATAL_FAILURE(expectConverts(run, &Spelling::utf16, &Spelling::utf8, half));
      }
      for (const Spelling &odd : read) {
        SCOPED_TRACE(testing::PrintToString(odd.utf8) + " after " + std::to_string(before));
        std::vector<Spelling> characters = run;
        characters.push_back(odd);
        characters.insert(characters.end(), run.begin(), run.end());
        ASSERT_NO_FATAL_FAILURE(expectConverts(characters, &Spelling::utf8, &Spelling::utf16));
      }
    }
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
      TightBuffer<Unit> buffer(given * sizeof(Unit));
      size = given;
      ASSERT_EQ(encode(buffer.data(), &size, codePoint),
                given < length ? SM_STATUS_BUFFER_TOO_SMALL : SM_STATUS_SUCCESS);
      ASSERT_EQ(size, given < length ? given : length);
      ASSERT_TRUE(buffer.holdsOnly(given < length ? expected.substr(0, 0) : expected));
    }
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.codePoint);
    expectWrites(UCS4CharToUTF8Chars, row.codePoint, row.bytes);
    uint32_t codePoint = 1;
    uint32_t consumed = 0;
    EXPECT_EQ(UTF8CharsToUCS4Char(&codePoint, tight(row.bytes).get(), &consumed), SM_STATUS_SUCCESS);
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
  for (const std::string &bytes : kUnreadable) {
    uint32_t codePoint = 1;
    uint32_t consumed = 9;
    EXPECT_EQ(UTF8CharsToUCS4Char(&codePoint, tight(bytes).get(), &consumed), SM_STATUS_BAD_TYPE);
    EXPECT_EQ(codePoint, 0u);
    EXPECT_EQ(consumed, 9u);
  }
  const auto read = [](const std::u16string &units) {
    uint32_t codePoint = 1;
    const uint32_t status = UTF16CharsToUCS4Char(&codePoint, tight(units).get());
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
  const auto text = tight(source);
  const auto needed = static_cast<uint32_t>((expected.size() + 1) * sizeof(Unit));
  uint32_t size = 1;
  ASSERT_EQ(conversion(nullptr, &size, text.get()), SM_STATUS_SUCCESS);
  ASSERT_EQ(size, needed);
  for (uint32_t given = 0; given <= needed + 1; ++given) {
    TightBuffer<Unit> buffer(given);
    size = given;
    ASSERT_EQ(conversion(buffer.data(), &size, text.get()),
              given == 0 || given >= needed ? SM_STATUS_SUCCESS : SM_STATUS_BUFFER_TOO_SMALL);
    ASSERT_EQ(size, needed);
    ASSERT_TRUE(buffer.holdsOnly(given < needed ? expected.substr(0, 0) : expected + Unit{})) << given;
  }
}

template <class Unit, class From, class Conversion>
void expectNotLocal(Conversion conversion, const std::basic_string<From> &source)
{
  for (uint32_t given : {0, 1, 64}) {
    TightBuffer<Unit> buffer(given);
    uint32_t size = given;
    EXPECT_EQ(conversion(buffer.data(), &size, tight(source).get()), kFailed);
    EXPECT_EQ(size, given);
    EXPECT_TRUE(buffer.holdsOnly(std::basic_string<Unit>()));
  }
}

TEST(LocalEncoding, ConvertsWhatTheLocaleCanExpress)
{
  for (const char *name : {"C", "C.UTF-8", "en_US.UTF-8", "de_DE.ISO-8859-1"}) {
    Locale locale(name);
    if (!locale) {
      printf("skipped: this machine has no locale %s\n", name);
      continue;
    }
    for (size_t length : {0, 1, 2, 255, 256, 257, 600}) {
      expectLocal(LocalToUnicode, std::string(length, 'a'), std::u16string(length, u'a'));
      expectLocal(UnicodeToLocal, std::u16string(length, u'a'), std::string(length, 'a'));
    }
    if (strcmp(name, "C") == 0) {
      expectNotLocal<char>(UnicodeToLocal, std::u16string(u"a\xE9"));
    }
    if (strstr(name, "UTF-8") == nullptr) {
      continue;
    }
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
  ASSERT_EQ(UCS2ToEscape(buffer.data(), &size, tight(units).get()), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, buffer.size());
  EXPECT_TRUE(expected == buffer.data());
}

TEST(Escape, TellsTheSizeNeeded)
{
  const auto text = tight(std::u16string(u"\tA\xE9\\"));
  const std::string expected("\\tA\\u00e9\\\\");
  for (uint32_t given = 0; given <= 13; ++given) {
    TightBuffer<char> buffer(given);
    for (char *out : {buffer.data(), static_cast<char *>(nullptr)}) {
      uint32_t size = given;
      EXPECT_EQ(SMUCS2ToEscape(out, &size, text.get()), given < 12 ? SM_STATUS_BUFFER_TOO_SMALL : SM_STATUS_SUCCESS)
          << given;
      EXPECT_EQ(size, 12u);
    }
    EXPECT_TRUE(buffer.holdsOnly(given < 12 ? std::string() : expected + '\0'));
  }
  EXPECT_EQ(UCS2ToEscape(nullptr, nullptr, text.get()), SM_STATUS_SUCCESS);
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
    EXPECT_EQ(size, status == kFailed ? sizeof(buffer) : 30001u) << nth;
    EXPECT_TRUE(status == kFailed || nth == 5) << nth;
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
      {16, 8, 23, 32},
      {16, 8, 24, 33},
      {1, 0, 0, 1},
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
  EXPECT_EQ(BufToSSUTF8Str(nullptr, kDumped, 0, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(BufToSSUTF8Str(nullptr, nullptr, 5, 0), SM_STATUS_SUCCESS);
  uint32_t count = 5;
  const std::unique_ptr<char, void (*)(void *)> text(BufToUTF8Str(nullptr, &count, 0), SMFreeMem);
  EXPECT_STREQ(text.get(), "");
  EXPECT_EQ(count, 1u);
  count = 0xFFFFFFFF;  // a dump that no count can tell the length of
  EXPECT_EQ(BufToUTF8Str(kDumped, &count, 0), nullptr);
  EXPECT_EQ(count, 0xFFFFFFFFu);
  Ucs2Record units(16);
  EXPECT_EQ(BufToUCS2Str(&units, nullptr, 5, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(units.strLen, 0u);
  SSUTF8Str noBytes = {};
  EXPECT_EQ(BufToSSUTF8Str(&noBytes, kDumped, 1, 0), kFailed);
}

TEST(Dump, FailsWithoutMemory)
{
  const std::vector<uint8_t> bytes(16 * 30, 'b');  // 2460 characters: the working string has to grow once
  const auto count = static_cast<uint32_t>(bytes.size());
  const long blocks = liveBlocks();
  // A buffer for exactly five lines, and none for the sixth: what was appended stays.
  Utf8Record record(5 * 82 + 1);
  {
    Fault fault(Call::allocation, 1);
    EXPECT_EQ(BufToSSUTF8Str(&record, bytes.data(), 96, 0), kFailed);
  }
  EXPECT_EQ(record.strLen, 5u * 82);
  // The working string, its growth, the append to the record.
  const uint32_t statuses[] = {SM_STATUS_NO_MEMORY, kFailed, SM_STATUS_SUCCESS, SM_STATUS_SUCCESS};
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
