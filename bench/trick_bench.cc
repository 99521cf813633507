// What the tricks of the sources gain: the same work with a trick ("ours") and without it, at the sizes that callers
// have. The parts are those that the library is made of. docs/PERFORMANCE.md lists them, with how to remove each.

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "base/block.h"
#include "base/text.h"
#include "codec/base64.h"
#include "containers/red_black_tree.h"
#include "locale/resource/string_line.h"
#include "qvsupt32.h"
#include "store/text_search.h"
#include "text/convert/code_point.h"
#include "text/convert/convert_block.h"
#include "text/format/double_digits.cc"  // NOLINT(bugprone-suspicious-include): the parts to compare are its own
#include "text/value/number_scan.h"
#include "text_rows.h"

namespace bench {
namespace {

constexpr size_t kSizes[] = {16, 64, 256, 1024, 4096};

/// Adds the two rows of a trick. Both pieces of work return what has to be equal.
template <class With, class Without>
void addTrick(const std::string &trick, size_t size, size_t items, With with, Without without)
{
  const std::string row = "trick/" + trick + "/" + std::to_string(size);
  const auto check = [=] { return with() == without(); };
  addTimedRow(row + "/ours", items, check, [=] { benchmark::DoNotOptimize(with()); });
  addTimedRow(row + "/without", items, check, [=] { benchmark::DoNotOptimize(without()); });
}

// Copies and searches -------------------------------------------------------------------------------------------------

void addCopies()
{
  constexpr size_t kCount = 1024;
  for (const size_t longest : {8U, 16U, 32U}) {
    const auto lengths = std::make_shared<std::vector<size_t>>(kCount);
    std::mt19937 random(kSeed);
    std::generate(lengths->begin(), lengths->end(), [&] { return 1 + random() % longest; });
    static char from[64] = "the texts that are appended to a record or a field";
    static char to[64];
    const auto copyAll = [lengths](auto copy) {
      for (const size_t length : *lengths) {
        copy(opaque(+to), opaque(+from), length);
      }
      return to[0];
    };
    addTrick(
        "copy_short", longest, kCount,
        [=] { return copyAll([](char *out, const char *in, size_t length) { qv::copyShort(out, in, length); }); },
        [=] { return copyAll([](char *out, const char *in, size_t length) { memcpy(out, in, length); }); });
  }
}

template <class Unit>
[[gnu::noinline]] size_t lengthByUnits(const Unit *s)
{
  size_t length = 0;
  while (opaque(s)[length] != 0) {
    ++length;
  }
  return length;
}

template <class Unit>
[[gnu::noinline]] size_t commonByUnits(const Unit *s, const Unit *t)
{
  size_t length = 0;
  while (s[length] == t[length] && s[length] != 0) {
    ++length;
  }
  return length;
}

[[gnu::noinline]] const char16_t *pairByUnits(const char16_t *at, const char16_t *end)
{
  for (; end - at >= 2; ++at) {
    if (at[0] == u'\r' && at[1] == u'\n') {
      return at;
    }
  }
  return end;
}

void addSearches()
{
  for (const size_t size : kSizes) {
    const auto text = std::make_shared<std::u16string>(size / 2 - 1, u'x');
    const auto twin = std::make_shared<std::u16string>(*text);
    addTrick(
        "length", size, 1, [=] { return qv::text::lengthUpTo(opaque(text->c_str())); },
        [=] { return lengthByUnits(opaque(text->c_str())); });
    addTrick(
        "common_length", size, 1, [=] { return qv::text::commonLength(opaque(text->c_str()), opaque(twin->c_str())); },
        [=] { return commonByUnits(opaque(text->c_str()), opaque(twin->c_str())); });
    const auto line = std::make_shared<std::u16string>(*text + u"\r\n");
    addTrick(
        "find_pair", size, 1,
        [=] {
          const char16_t *at = opaque(line->data());
          return qv::locale::findPair(at, at + line->size(), u'\r', u'\n');
        },
        [=] {
          const char16_t *at = opaque(line->data());
          return pairByUnits(at, at + line->size());
        });
    constexpr std::string_view kSought = "[section]";
    constexpr std::string_view kLine = "key of a setting=its value\n";
    std::string lines;
    while (lines.size() + kSought.size() < size) {
      lines += kLine.substr(0, size - kSought.size() - lines.size());
    }
    const auto file = std::make_shared<std::string>(lines + std::string(kSought));
    addTrick(
        "find_text", size, 1, [=] { return qv::findText(*file, opaque(kSought)); },
        [=] {
          const void *found = memmem(file->data(), file->size(), kSought.data(), kSought.size());
          return static_cast<size_t>(static_cast<const char *>(found) - file->data());
        });
  }
}

// Conversion ----------------------------------------------------------------------------------------------------------

/// A direction as the library's parts have it.
struct FromUtf8 {
  using From = char;
  using To = char16_t;
  static constexpr auto decode = qv::text::decodeUtf8;
  static constexpr auto length = qv::text::utf16Length;
  static constexpr auto encode = qv::text::encodeUtf16;
};

struct FromUtf16 {
  using From = char16_t;
  using To = char;
  static constexpr auto decode = qv::text::decodeUtf16;
  static constexpr auto length = qv::text::utf8Length;
  static constexpr auto encode = qv::text::encodeUtf8;
};

template <class Direction>
[[gnu::noinline]] typename Direction::To *convertByCharacters(const typename Direction::From *at,
                                                              const typename Direction::From *end,
                                                              typename Direction::To *out)
{
  while (at < end) {
    const qv::text::Character character = Direction::decode(at);
    const uint32_t length = Direction::length(character.codePoint);
    Direction::encode(character.codePoint, length, out);
    at += character.length;
    out += length;
  }
  return out;
}

template <class Direction, class Ascii>
[[gnu::noinline]] typename Direction::To *convertAscii(const typename Direction::From *at,
                                                       const typename Direction::From *end, typename Direction::To *out)
{
  Ascii::convert(at, static_cast<size_t>(end - at), out);
  return out + (end - at);
}

/// Runs have a constant kTo, mixed blocks say where they end.
template <class Direction, class Block>
[[gnu::noinline]] typename Direction::To *convertByBlocks(const typename Direction::From *at,
                                                          const typename Direction::From *end,
                                                          typename Direction::To *out)
{
  constexpr auto kLoaded = [] {
    if constexpr (requires { Block::kLoaded; }) {
      return Block::kLoaded;
    } else {
      return qv::text::kBlockSize;
    }
  }();
  while (static_cast<size_t>(end - at) * sizeof(*at) >= kLoaded) {
    const Block block(at);
    if (!block.matches()) {
      break;
    }
    if constexpr (requires { Block::kTo; }) {
      block.convert(out);
      at += Block::kFrom;
      out += Block::kTo;
    } else {
      out = block.convert(out);
      at += block.from();
    }
  }
  return convertByCharacters<Direction>(at, end, out);
}

/// The characters of a range, and after each so many of ASCII.
std::u16string makeText(char32_t first, char32_t last, size_t ascii, size_t units)
{
  std::mt19937 random(kSeed);
  std::u16string text;
  while (text.size() < units) {
    char16_t pair[2];
    const auto character = static_cast<char32_t>(first + random() % (last - first + 1));
    const uint32_t length = qv::text::utf16Length(character);
    qv::text::encodeUtf16(character, length, pair);
    text.append(pair, length);
    text.append(random() % (2 * ascii + 1), u'a');
  }
  return text;
}

template <class Direction>
using Converter = typename Direction::To *(*)(const typename Direction::From *, const typename Direction::From *,
                                              typename Direction::To *);

template <class Direction>
void addConversion(const std::string &trick, size_t size, const std::basic_string<typename Direction::From> &text,
                   Converter<Direction> with)
{
  using To = typename Direction::To;
  const auto from = std::make_shared<std::basic_string<typename Direction::From>>(text);
  const auto to = std::make_shared<std::vector<To>>(3 * text.size() + 64);
  const auto convert = [=](Converter<Direction> converter) {
    To *const end = opaque(converter)(from->data(), from->data() + from->size(), to->data());
    return std::pair(end, end[-1]);
  };
  addTrick(
      trick, size, 1, [=] { return convert(with); }, [=] { return convert(convertByCharacters<Direction>); });
}

template <class FromUtf8Block, class FromUtf16Block>
void addBlocks(const std::string &kind, char32_t first, char32_t last, size_t ascii)
{
  for (const size_t size : kSizes) {
    const std::u16string utf16 = makeText(first, last, ascii, size / 2);
    std::string utf8(3 * utf16.size(), '\0');
    utf8.resize(static_cast<size_t>(
        convertByCharacters<FromUtf16>(utf16.data(), utf16.data() + utf16.size(), utf8.data()) - utf8.data()));
    if (utf8.size() > size) {
      // Sizes are of what is read. Whole characters only.
      size_t end = size;
      while ((static_cast<uint8_t>(utf8[end]) & 0xC0) == 0x80) {
        --end;
      }
      utf8.resize(end);
    }
    addConversion<FromUtf8>("from_utf8_" + kind, size, utf8, convertByBlocks<FromUtf8, FromUtf8Block>);
    addConversion<FromUtf16>("from_utf16_" + kind, size, utf16, convertByBlocks<FromUtf16, FromUtf16Block>);
  }
}

void addConversions()
{
  for (const size_t size : kSizes) {
    addConversion<FromUtf8>("from_utf8_ascii", size, std::string(size, 'a'),
                            convertAscii<FromUtf8, qv::text::Utf8Ascii>);
    addConversion<FromUtf16>("from_utf16_ascii", size, std::u16string(size / 2, u'a'),
                             convertAscii<FromUtf16, qv::text::Utf16Ascii>);
  }
  addBlocks<qv::text::Utf8TwoByteRun, qv::text::Utf16TwoByteRun>("two_byte_run", 0x410, 0x44F, 0);
  addBlocks<qv::text::Utf8ThreeByteRun, qv::text::Utf16ThreeByteRun>("three_byte_run", 0x4E00, 0x9FFF, 0);
  addBlocks<qv::text::Utf8FourByteRun, qv::text::Utf16PairRun>("four_byte_run", 0x1F600, 0x1F64F, 0);
  addBlocks<qv::text::Utf8UpToTwo, qv::text::Utf16UpToTwo>("up_to_two", 0xE0, 0x17F, 4);
  addBlocks<qv::text::Utf8Mixed, qv::text::Utf16Mixed>("mixed", 0xE0, 0x17F, 1);
}

// Base64 --------------------------------------------------------------------------------------------------------------

void addBase64()
{
  if (!__builtin_cpu_supports("avx2")) {
    return;
  }
  namespace base64 = qv::base64;
  for (const size_t size : kSizes) {
    const auto bytes = std::make_shared<std::vector<uint8_t>>(size);
    std::mt19937 random(kSeed);
    std::generate(bytes->begin(), bytes->end(), [&] { return static_cast<uint8_t>(random()); });
    const auto text = std::make_shared<std::vector<char>>(size / 3 * 4 + 4);
    const auto encode = [=](bool blocks) {
      base64::Encoder at = {bytes->data(), text->data()};
      if (blocks) {
        base64::encodeBlocks(at, bytes->data() + size, base64::basis64);
      }
      base64::encodeGroups(at, bytes->data() + size, base64::basis64);
      return at.out[-1];
    };
    (void)encode(false);  // the text for the decoders
    addTrick(
        "base64_encode", size, 1, [=] { return encode(true); }, [=] { return encode(false); });
    const auto out = std::make_shared<std::vector<uint8_t>>(size + 4);
    const auto decode = [=](bool blocks) {
      base64::Decoder at = {text->data(), out->data()};
      const char *end = text->data() + text->size() / 4 * 4;
      if (blocks) {
        base64::decodeBlocks(at, end);
      }
      base64::decodeGroups(at, end);
      return at.out[-1];
    };
    addTrick(
        "base64_decode", size, 1, [=] { return decode(true); }, [=] { return decode(false); });
  }
}

// Numbers -------------------------------------------------------------------------------------------------------------

template <class Unsigned>
void addDigits(const std::string &trick)
{
  constexpr size_t kCount = 1000;
  std::mt19937_64 random(kSeed);
  const auto texts = std::make_shared<std::vector<std::string>>(kCount);
  std::generate(texts->begin(), texts->end(), [&] {
    constexpr unsigned kDigits = std::numeric_limits<Unsigned>::digits;
    return std::to_string(static_cast<Unsigned>(random()) >> random() % (kDigits - 1));
  });
  const auto readAll = [texts](auto read) {
    Unsigned sum = 0;
    for (const std::string &text : *texts) {
      sum += read(text.c_str()).value;
    }
    return sum;
  };
  addTrick(
      trick, kCount, kCount, [=] { return readAll([](const char *t) { return qv::readDigits<10, Unsigned>(t); }); },
      [=] {
        return readAll([](const char *t) {
          qv::Digits<Unsigned> digits;
          qv::appendDigits<10>(t, digits);
          return digits;
        });
      });
}

/// The library reads other formats than a bare "%d" and "%s" by its general way.
void addFormats()
{
  static char text[64];
  const auto print = [](const char *format, auto argument) {
    return SMsnprintf(text, sizeof(text), opaque(format), opaque(argument));
  };
  addTrick(
      "format_int", 6, 1, [=] { return print("%d", 123456); }, [=] { return print("%1d", 123456); });
  for (const char *word : {"enclosure", "the redundancy of the power supplies is lost"}) {
    addTrick(
        "format_string", strlen(word), 1, [=] { return print("%s", word); }, [=] { return print("%1s", word); });
  }
}

char *writeExactly(char *out, double magnitude, int decimals)
{
  qv::text::ExactDigits digits(magnitude);
  const int integral = digits.integral();
  (void)digits.roundBefore(integral + decimals);
  out = digits.copy(0, integral, out);
  *out++ = '.';
  return digits.copy(integral, integral + decimals, out);
}

void addShortDouble()
{
  static char text[64];
  const auto write = [](char *(*writer)(char *, double, int)) {
    char *end = writer(text, opaque(1234.567), opaque(3));
    return std::string_view(text, static_cast<size_t>(end - text)) == "1234.567";
  };
  addTrick(
      "short_double", 8, 1, [=] { return write(qv::text::writeShort); }, [=] { return write(writeExactly); });
}

// Trees ---------------------------------------------------------------------------------------------------------------

int32_t compareKeys(void *a, void *b)
{
  return *static_cast<int32_t *>(a) - *static_cast<int32_t *>(b);
}

/// Inserts all keys into a new tree, as RedBlackTreeDataInsert does. Returns the root's key.
template <qv::tree::Fetch fetch>
int32_t insertAll(const std::vector<int32_t *> &keys)
{
  const auto compare = opaque(&compareKeys);
  SMRedBlackTreeNode *root = nullptr;
  for (int32_t *key : keys) {
    const auto rank = [&](void *datum) { return compare(key, datum); };
    const qv::tree::Place place = qv::tree::locate<fetch>(root, rank);
    SMRedBlackTreeNode *node = SMRedBlackTreeNodeAlloc(place.parent, key);
    (place.parent == nullptr ? root : place.leftOfParent ? place.parent->left : place.parent->right) = node;
    RedBlackTreeInsertFixup(&root, node);
  }
  const int32_t top = *static_cast<int32_t *>(root->data);
  RedBlackTreeDelete(&root, nullptr, nullptr);
  return top;
}

void addFetches()
{
  for (const size_t count : {100U, 10000U, 1000000U}) {
    const auto keys = [count]() -> const std::vector<int32_t *> & {
      static std::map<size_t, std::vector<int32_t *>> made;
      std::vector<int32_t *> &ordered = made[count];
      if (ordered.empty()) {
        constexpr size_t kRecord = 4;  // numbers in a record, of which the first is the key
        static std::map<size_t, std::vector<int32_t>> records;
        std::vector<int32_t> &numbers = records[count];
        numbers.resize(count * kRecord);
        for (size_t i = 0; i < count; ++i) {
          numbers[i * kRecord] = static_cast<int32_t>(i);
          ordered.push_back(&numbers[i * kRecord]);
        }
        std::shuffle(ordered.begin(), ordered.end(), std::mt19937(kSeed));
      }
      return ordered;
    };
    addTrick(
        "fetch_children", count, count, [=] { return insertAll<qv::tree::Fetch::children>(keys()); },
        [=] { return insertAll<qv::tree::Fetch::none>(keys()); });
  }
}

void registerRows()
{
  addCopies();
  addSearches();
  addConversions();
  addBase64();
  addDigits<uint32_t>("few_digits_32");
  addDigits<uint64_t>("few_digits_64");
  addFormats();
  addShortDouble();
  addFetches();
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
