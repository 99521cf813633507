// Conversions of any text, at every size of the output: UTF-8 and UCS-2 as their characters convert one by one and
// back again, the locale's encoding as the platform converts it, escapes, dumps, and dynamic strings beside
// std::string, with a failing allocation that the last byte of the input chooses.

#include <clocale>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "failing_heap.h"
#include "qvsupt32.h"
#include "tight_buffer.h"

namespace {

using fuzz::require;
using fuzz::TightBuffer;
using fuzz::TightText;

constexpr size_t kInputMax = 160;  // every size of the output is tried

// Strings beside their characters -----------------------------------------------------------------------------------

/// A text converted character by character, until the end or the first that cannot be.
template <class To>
struct Characters {
  std::vector<std::basic_string<To>> each;
  uint32_t end = SM_STATUS_SUCCESS;
  bool same = true;  // whether the text is the only one that converts to this

  size_t units() const
  {
    size_t units = 0;
    for (const auto &character : each) {
      units += character.size();
    }
    return units;
  }
};

std::optional<std::u16string> toUtf16(uint32_t codePoint)
{
  char16_t units[2];
  uint32_t size = 2;
  if (UCS4CharToUTF16Chars(units, &size, codePoint) != SM_STATUS_SUCCESS) {
    return std::nullopt;
  }
  return std::u16string(units, size);
}

std::optional<std::string> toUtf8(uint32_t codePoint)
{
  char bytes[6];
  uint32_t size = 6;
  if (UCS4CharToUTF8Chars(bytes, &size, codePoint) != SM_STATUS_SUCCESS) {
    return std::nullopt;
  }
  return std::string(bytes, size);
}

Characters<char16_t> convertEach(const char *text)
{
  Characters<char16_t> characters;
  while (*text != 0) {
    uint32_t codePoint;
    uint32_t consumed;
    characters.end = UTF8CharsToUCS4Char(&codePoint, text, &consumed);
    const auto units = characters.end == SM_STATUS_SUCCESS ? toUtf16(codePoint) : std::nullopt;
    if (!units) {
      characters.end = SM_STATUS_BAD_TYPE;
      break;
    }
    characters.each.push_back(*units);
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    characters.same &= codePoint != 0 && !surrogate && *toUtf8(codePoint) == std::string(text, consumed);
    text += consumed;
  }
  return characters;
}

Characters<char> convertEach(const char16_t *text)
{
  Characters<char> characters;
  while (*text != 0) {
    uint32_t codePoint;
    characters.end = UTF16CharsToUCS4Char(&codePoint, text);
    if (characters.end != SM_STATUS_SUCCESS) {
      break;
    }
    characters.each.push_back(*toUtf8(codePoint));
    text += codePoint > 0xFFFF ? 2 : 1;
  }
  return characters;
}

uint32_t convert(char16_t *out, uint32_t *size, const char *text)
{
  return UTF8StrToUCS2Str(out, size, text);
}

uint32_t convert(char *out, uint32_t *size, const char16_t *text)
{
  return UCS2StrToUTF8Str(out, size, text);
}

/// What fits into so many units, and the status that goes with it.
template <class To>
uint32_t fit(const Characters<To> &characters, size_t room, std::basic_string<To> &fitting)
{
  for (const auto &character : characters.each) {
    if (fitting.size() + character.size() > room) {
      return SM_STATUS_BUFFER_TOO_SMALL;
    }
    fitting += character;
  }
  if (characters.end != SM_STATUS_SUCCESS) {
    return characters.end;
  }
  if (fitting.size() == room) {
    return SM_STATUS_BUFFER_TOO_SMALL;
  }
  fitting += To{0};
  return SM_STATUS_SUCCESS;
}

/// Returns the converted text, terminator included, if it is valid.
template <class To, class From>
std::optional<std::basic_string<To>> checkEverySize(const From *text)
{
  const auto characters = convertEach(text);
  const auto needed = static_cast<uint32_t>((characters.units() + 1) * sizeof(To));
  uint32_t asked = 7;
  require(convert(static_cast<To *>(nullptr), &asked, text) == characters.end, "a query's status");
  require(asked == (characters.end == SM_STATUS_SUCCESS ? needed : 7), "a query's size");

  std::basic_string<To> fitting;
  for (uint32_t given = 0; given <= needed + 3; ++given) {
    TightBuffer<To> out(given);
    uint32_t size = given;
    const uint32_t status = convert(out.data(), &size, text);
    fitting.clear();
    require(status == fit(characters, given / sizeof(To), fitting), "a conversion's status");
    require(size == (status == SM_STATUS_SUCCESS ? needed : given), "a conversion's size");
    require(out.holdsOnly(fitting), "a conversion's text");
  }
  return characters.end == SM_STATUS_SUCCESS ? std::optional(fitting) : std::nullopt;
}

void checkUtf8(const uint8_t *data, size_t size)
{
  const TightText<char> text(data, size);
  const auto units = checkEverySize<char16_t>(text.get());
  if (units && convertEach(text.get()).same) {
    const auto back = checkEverySize<char>(units->c_str());
    require(back && back->c_str() == std::string(text.get()), "UTF-8 and back");
  }
}

void checkUcs2(const uint8_t *data, size_t size)
{
  const TightText<char16_t> text(data, size);
  if (const auto bytes = checkEverySize<char>(text.get())) {
    const auto back = checkEverySize<char16_t>(bytes->c_str());
    require(back && back->c_str() == std::u16string(text.get()), "UCS-2 and back");
  }
}

// The locale's encoding ---------------------------------------------------------------------------------------------

std::optional<std::u16string> fromLocal(const char *text)
{
  std::vector<wchar_t> wide(strlen(text) + 1);
  const size_t count = mbstowcs(wide.data(), text, wide.size());
  if (count == static_cast<size_t>(-1)) {
    return std::nullopt;
  }
  std::u16string units;
  for (size_t i = 0; i <= count; ++i) {
    units += static_cast<char16_t>(wide[i]);
  }
  return units;
}

std::optional<std::string> fromUnits(const char16_t *text)
{
  std::wstring wide;
  for (; *text != 0; ++text) {
    wide += static_cast<wchar_t>(*text);
  }
  std::vector<char> bytes(wide.size() * MB_CUR_MAX + 1);
  const size_t count = wcstombs(bytes.data(), wide.c_str(), bytes.size());
  return count == static_cast<size_t>(-1) ? std::nullopt : std::optional(std::string(bytes.data(), count + 1));
}

template <class To, class From>
void checkLocal(uint32_t (*convertLocal)(To *, uint32_t *, const From *), const From *text,
                const std::optional<std::basic_string<To>> &expected)
{
  const auto needed = static_cast<uint32_t>(expected ? expected->size() * sizeof(To) : 0);
  for (uint32_t given = 0; given <= needed + 3; ++given) {
    TightBuffer<To> out(given);
    uint32_t size = given;
    const uint32_t status = convertLocal(out.data(), &size, text);
    if (!expected) {
      require(status == SM_STATUS_UNSUCCESSFUL && size == given, "the status of invalid local text");
      require(out.holdsOnly(std::string()), "invalid local text writes");
      continue;
    }
    const bool fits = given >= needed;
    require(status == (fits || given == 0 ? SM_STATUS_SUCCESS : SM_STATUS_BUFFER_TOO_SMALL), "a local status");
    require(size == needed, "a local size");
    require(out.holdsOnly(fits ? *expected : std::basic_string<To>()), "a local text");
  }
}

// Escapes and dumps -------------------------------------------------------------------------------------------------

std::string escaped(const char16_t *text)
{
  std::string escaped;
  for (; *text != 0; ++text) {
    constexpr std::u16string_view kNamed = u"\t\n\r\\";
    if (const size_t named = kNamed.find(*text); named != kNamed.npos) {
      escaped += {'\\', "tnr\\"[named]};
    } else if (*text >= 32 && *text <= 127) {
      escaped += static_cast<char>(*text);
    } else {
      char code[7];
      (void)snprintf(code, sizeof(code), "\\u%04x", unsigned{*text});
      escaped += code;
    }
  }
  return escaped;
}

void checkEscape(const uint8_t *data, size_t size)
{
  const TightText<char16_t> text(data, std::min<size_t>(size, 40));
  const std::string expected = escaped(text.get()) + '\0';
  const auto needed = static_cast<uint32_t>(expected.size());
  for (uint32_t given = 0; given <= needed + 1; ++given) {
    TightBuffer<char> out(given);
    uint32_t told = given;
    const bool fits = given >= needed;
    require(UCS2ToEscape(out.data(), &told, text.get()) == (fits ? SM_STATUS_SUCCESS : SM_STATUS_BUFFER_TOO_SMALL),
            "an escape's status");
    require(told == needed && out.holdsOnly(fits ? expected : ""), "an escape");
  }
  TightBuffer<char> out(needed);
  const fuzz::FailingHeap heap(data, size);
  const uint32_t status = UCS2ToEscape(out.data(), nullptr, text.get());
  require(status == (heap.struck() ? SM_STATUS_UNSUCCESSFUL : SM_STATUS_SUCCESS), "an escape's status without memory");
}

std::string dumped(const uint8_t *bytes, size_t count, uint32_t offset)
{
  std::string dump;
  for (size_t start = 0; start < count; start += 16) {
    char cell[16];
    (void)snprintf(cell, sizeof(cell), "0x%08X: ", offset + static_cast<uint32_t>(start));
    std::string line = cell;
    std::string shown;
    for (size_t i = 0; i < 16; ++i) {
      const bool exists = start + i < count;
      (void)snprintf(cell, sizeof(cell), exists ? "%02X" : "  ", exists ? bytes[start + i] : 0U);
      const bool joined = i % 4 == 3 && i < 15 && start + i + 1 < count;
      line += std::string(cell) + (joined ? ':' : ' ');
      shown += !exists                                             ? ' '
               : bytes[start + i] >= 32 && bytes[start + i] <= 122 ? static_cast<char>(bytes[start + i])
                                                                   : '.';
    }
    line.resize(60, ' ');
    dump += line + "   " + shown + " \r\n";
  }
  return dump;
}

struct Free {
  void operator()(void *block) const { SMFreeMem(block); }
};

void checkDumps(const uint8_t *data, size_t size)
{
  const uint32_t offset = size < 4 ? 0 : data[0] * 0x01010101U;
  const std::string expected = dumped(data, size, offset);
  const std::vector<uint8_t> bytes(data, data + size);
  auto count = static_cast<uint32_t>(size);
  std::unique_ptr<char, Free> dump;
  {
    const fuzz::FailingHeap heap(data, size);
    dump.reset(BufToUTF8Str(bytes.data(), &count, offset));
    require((dump == nullptr) == heap.struck(), "whether a dump is made");
  }
  require(dump == nullptr || (dump.get() == expected && count == expected.size() + 1), "a dump");
  require(dump != nullptr || count == size, "the count of no dump");

  SSUCS2Str record;
  require(SSUCS2StrAlloc(&record, 1) != nullptr, "a record");
  const fuzz::FailingHeap heap(data, size);
  const uint32_t status = BufToUCS2Str(&record, bytes.data(), static_cast<uint32_t>(size), offset);
  require(status == SM_STATUS_SUCCESS || heap.struck(), "the status of a dump in UCS-2");
  const std::u16string wide(expected.begin(), expected.end());
  require(record.pStr == wide || (heap.struck() && record.strLen == 0), "a dump in UCS-2");
  SSUCS2StrFree(&record);
}

// Dynamic strings ---------------------------------------------------------------------------------------------------

uint32_t grown(uint32_t size, uint32_t needed)
{
  return size >= needed ? size
                        : std::max(needed, size <= 0xFFFFF ? size * 2 : size / 100 * 125 + size % 100 * 125 / 100);
}

/// Checks a record behind an append, which may have failed where an allocation did.
template <class Record, class Unit>
void checkAppend(Record &record, std::basic_string<Unit> &model, uint32_t &bufferSize, const Unit *result,
                 const std::optional<std::basic_string<Unit>> &added, bool struck)
{
  require(result == record.pStr && record.pStr[record.strLen] == 0, "an appended text's end");
  if (added && !(struck && record.strLen == model.size())) {
    model += *added;
    bufferSize = grown(bufferSize, static_cast<uint32_t>((model.size() + 1) * sizeof(Unit)));
  }
  require(std::basic_string<Unit>(record.pStr, record.strLen) == model, "an appended text");
  require(record.strBufSize == bufferSize, "how a buffer grows");
}

template <class Record, class Unit, class Other>
void checkAppends(const uint8_t *data, size_t size, Unit *(*alloc)(Record *, uint32_t),
                  Unit *(*append)(Record *, const Unit *), Unit *(*appendOther)(Record *, const Other *),
                  void (*release)(Record *))
{
  const uint32_t initial = size == 0 ? 1 : data[0] % 64 + 1U;
  Record record;
  require(alloc(&record, initial) != nullptr, "a record");
  std::basic_string<Unit> model;
  uint32_t bufferSize = initial;
  const fuzz::FailingHeap heap(data, size);
  bool struck = false;
  for (size_t at = 0; at < size; at += 1 + data[at] % 24) {
    const size_t left = std::min<size_t>(size - at, 40);
    const TightText<Unit> piece(data + at, left);
    const Unit *result = append(&record, piece.get());
    checkAppend(record, model, bufferSize, result, std::optional(std::basic_string<Unit>(piece.get())),
                heap.struck() != struck);
    struck = heap.struck();

    const TightText<Other> other(data + at, left);
    const auto converted = convertEach(other.get());
    std::basic_string<Unit> text;
    for (const auto &character : converted.each) {
      text += character;
    }
    result = appendOther(&record, other.get());
    checkAppend(record, model, bufferSize, result,
                converted.end == SM_STATUS_SUCCESS ? std::optional(text) : std::nullopt, heap.struck() != struck);
    struck = heap.struck();
  }
  release(&record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  static const char *const kLocale = setlocale(LC_CTYPE, "C.UTF-8");
  require(kLocale != nullptr, "the locale exists");
  size = std::min(size, kInputMax);
  checkUtf8(data, size);
  checkUcs2(data, size);
  const TightText<char> text(data, size);
  checkLocal(LocalToUnicode, text.get(), fromLocal(text.get()));
  const TightText<char16_t> units(data, size);
  checkLocal(UnicodeToLocal, units.get(), fromUnits(units.get()));
  checkEscape(data, size);
  checkDumps(data, size);
  checkAppends<SSUTF8Str, char, char16_t>(data, size, SSUTF8StrAlloc, SSUTF8StrCatUTF8Str, SSUTF8StrCatUCS2Str,
                                          SSUTF8StrFree);
  checkAppends<SSUCS2Str, char16_t, char>(data, size, SSUCS2StrAlloc, SSUCS2StrCatUCS2Str, SSUCS2StrCatUTF8Str,
                                          SSUCS2StrFree);
  return 0;
}
