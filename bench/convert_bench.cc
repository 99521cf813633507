// UTF-8 to UCS-2 and back beside utfcpp, iconv and a plain decoder that is told the length of the text, by kinds of text. In both directions the limit copies the UCS-2
// form: by blocks of SSE2 for ASCII, unit by unit up to the terminator for all others.

#include <emmintrin.h>
#include <iconv.h>
#include <utf8.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "qvsupt32.h"
#include "text_rows.h"

namespace bench {
namespace {

/// One text in both forms.
struct Text {
  std::string utf8;
  std::u16string ucs2;
};

/// Where a converter writes; long enough for either form of a text and its terminator.
struct Output {
  explicit Output(const Text &text) : utf8(text.utf8.size() + 1), ucs2(text.ucs2.size() + 1) {}

  bool holdsUtf8Of(const Text &text) const { return std::equal(text.utf8.begin(), text.utf8.end(), utf8.begin()); }
  bool holdsUcs2Of(const Text &text) const { return std::equal(text.ucs2.begin(), text.ucs2.end(), ucs2.begin()); }

  std::vector<char> utf8;
  std::vector<char16_t> ucs2;
};

constexpr std::u32string_view kAsciiWords[] = {U"sensor ",  U"fan ",       U"temperature ", U"of ",       U"the ",
                                               U"system ",  U"was ",       U"above ",       U"its ",      U"limit, ",
                                               U"voltage ", U"returned. ", U"25 ",          U"CPU ",      U"warning: ",
                                               U"in ",      U"enclosure ", U"redundancy ",  U"regained ", U"power "};
constexpr std::u32string_view kLatinWords[] = {U"température ", U"élevée ",  U"Lüfter ",  U"größer ",  U"als ",
                                               U"señal ",       U"máximo ",  U"tensão ",  U"não ",     U"čidlo ",
                                               U"překročeno ",  U"système ", U"arrêté. ", U"über ",    U"Gehäuse ",
                                               U"für ",         U"de ",      U"żądanie ", U"ändern, ", U"está ",
                                               U"Ø ",           U"façade ",  U"naïveté ", U"mérnök ",  U"i "};

/// Random words, or for the kinds without any, random characters of a range.
class Kind {
 public:
  template <size_t kCount>
  explicit Kind(const std::u32string_view (&words)[kCount]) : words_(std::begin(words), std::end(words))
  {
  }
  Kind(char32_t first, char32_t last) : first_(first), last_(last) {}

  std::u32string next(std::mt19937 &random) const
  {
    if (words_.empty()) {
      return {static_cast<char32_t>(first_ + random() % (last_ - first_ + 1))};
    }
    return std::u32string(words_[random() % words_.size()]);
  }

 private:
  std::vector<std::u32string_view> words_;
  char32_t first_ = 0;
  char32_t last_ = 0;
};

/// A text of at most so many bytes of UTF-8, and not much less.
Text makeText(const Kind &kind, size_t bytes)
{
  constexpr size_t kLongest = 4;
  std::mt19937 random(kSeed);
  Text text;
  while (text.utf8.size() + kLongest <= bytes) {
    for (const char32_t character : kind.next(random)) {
      if (text.utf8.size() + kLongest <= bytes) {
        utf8::append(character, text.utf8);
      }
    }
  }
  text.ucs2 = utf8::utf8to16(text.utf8);
  return text;
}

using Convert = void (*)(const Text &text, Output &out);

void oursToUcs2(const Text &text, Output &out)
{
  auto size = static_cast<uint32_t>(out.ucs2.size() * sizeof(char16_t));
  benchmark::DoNotOptimize(UTF8StrToUCS2Str(out.ucs2.data(), &size, text.utf8.c_str()));
}

void oursToUtf8(const Text &text, Output &out)
{
  auto size = static_cast<uint32_t>(out.utf8.size());
  benchmark::DoNotOptimize(UCS2StrToUTF8Str(out.utf8.data(), &size, text.ucs2.c_str()));
}

void utfcppToUcs2(const Text &text, Output &out)
{
  benchmark::DoNotOptimize(utf8::utf8to16(text.utf8.begin(), text.utf8.end(), out.ucs2.data()));
}

void utfcppToUtf8(const Text &text, Output &out)
{
  benchmark::DoNotOptimize(utf8::utf16to8(text.ucs2.begin(), text.ucs2.end(), out.utf8.data()));
}

/// A descriptor of iconv(3) that is opened once.
class Iconv {
 public:
  Iconv(const char *to, const char *from) : descriptor_(iconv_open(to, from)) {}
  ~Iconv() { (void)iconv_close(descriptor_); }
  Iconv(const Iconv &) = delete;
  Iconv &operator=(const Iconv &) = delete;

  template <class From, class To>
  void convert(const std::basic_string<From> &from, std::vector<To> &to)
  {
    char *in = const_cast<char *>(reinterpret_cast<const char *>(from.data()));  // iconv only reads it
    size_t inLeft = from.size() * sizeof(From);
    char *out = reinterpret_cast<char *>(to.data());
    size_t outLeft = to.size() * sizeof(To);
    benchmark::DoNotOptimize(iconv(descriptor_, &in, &inLeft, &out, &outLeft));
  }

 private:
  iconv_t descriptor_;
};

void iconvToUcs2(const Text &text, Output &out)
{
  static Iconv descriptor("UTF-16LE", "UTF-8");
  descriptor.convert(text.utf8, out.ucs2);
}

void iconvToUtf8(const Text &text, Output &out)
{
  static Iconv descriptor("UTF-8", "UTF-16LE");
  descriptor.convert(text.ucs2, out.utf8);
}

/// A plain decoder: ASCII by blocks of SSE2 up to the first other byte, and all other characters one by one.
void plainToUcs2(const Text &text, Output &out)
{
  const auto *in = reinterpret_cast<const uint8_t *>(text.utf8.data());
  const uint8_t *const end = in + text.utf8.size();
  char16_t *to = out.ucs2.data();
  const __m128i zero = _mm_setzero_si128();
  while (in < end) {
    if (end - in >= 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in));
      const auto others = static_cast<uint32_t>(_mm_movemask_epi8(block));
      const auto ascii = static_cast<size_t>(std::countr_zero(others));
      if (out.ucs2.data() + out.ucs2.size() - to >= 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm_unpacklo_epi8(block, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 8), _mm_unpackhi_epi8(block, zero));
        if (others == 0) {
          in += 16;
          to += 16;
          continue;
        }
        in += ascii;
        to += ascii;
      }
    }
    const auto continues = [in, end](ptrdiff_t i) { return in + i < end && (in[i] & 0xC0) == 0x80; };
    const uint32_t first = *in;
    if (first < 0x80) {
      *to++ = static_cast<char16_t>(first);
      ++in;
    } else if (first < 0xE0 && continues(1)) {
      *to++ = static_cast<char16_t>((first & 0x1F) << 6 | (in[1] & 0x3FU));
      in += 2;
    } else if (first < 0xF0 && continues(1) && continues(2)) {
      *to++ = static_cast<char16_t>((first & 0x0F) << 12 | (in[1] & 0x3FU) << 6 | (in[2] & 0x3FU));
      in += 3;
    } else if (continues(1) && continues(2) && continues(3)) {
      const uint32_t beyond =
          ((first & 7) << 18 | (in[1] & 0x3FU) << 12 | (in[2] & 0x3FU) << 6 | (in[3] & 0x3FU)) - 0x10000;
      *to++ = static_cast<char16_t>(0xD800 | beyond >> 10);
      *to++ = static_cast<char16_t>(0xDC00 | (beyond & 0x3FF));
      in += 4;
    } else {
      break;
    }
  }
  benchmark::DoNotOptimize(to);
}

/// A plain encoder, likewise.
void plainToUtf8(const Text &text, Output &out)
{
  const char16_t *in = text.ucs2.data();
  const char16_t *const end = in + text.ucs2.size();
  char *to = out.utf8.data();
  const auto put = [&to](uint32_t byte) { *to++ = static_cast<char>(byte); };
  while (in < end) {
    if (end - in >= 8 && out.utf8.data() + out.utf8.size() - to >= 8) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in));
      const __m128i high = _mm_and_si128(block, _mm_set1_epi16(static_cast<short>(0xFF80)));
      const auto isAscii = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())));
      _mm_storel_epi64(reinterpret_cast<__m128i *>(to), _mm_packus_epi16(block, block));
      if (isAscii == 0xFFFF) {
        in += 8;
        to += 8;
        continue;
      }
      const auto ascii = static_cast<size_t>(std::countr_one(isAscii)) / 2;
      in += ascii;
      to += ascii;
    }
    const uint32_t unit = *in++;
    if (unit < 0x80) {
      put(unit);
    } else if (unit < 0x800) {
      put(0xC0 | unit >> 6);
      put(0x80 | (unit & 0x3F));
    } else if (unit < 0xD800 || unit >= 0xE000) {
      put(0xE0 | unit >> 12);
      put(0x80 | (unit >> 6 & 0x3F));
      put(0x80 | (unit & 0x3F));
    } else if (in < end && (*in & 0xFC00) == 0xDC00) {
      const uint32_t codePoint = 0x10000 + ((unit & 0x3FF) << 10 | (*in++ & 0x3FFU));
      put(0xF0 | codePoint >> 18);
      put(0x80 | (codePoint >> 12 & 0x3F));
      put(0x80 | (codePoint >> 6 & 0x3F));
      put(0x80 | (codePoint & 0x3F));
    } else {
      break;
    }
  }
  benchmark::DoNotOptimize(to);
}

void copyBlocks(const Text &text, Output &out)
{
  constexpr size_t kUnits = sizeof(__m128i) / sizeof(char16_t);
  const char16_t *from = text.ucs2.data();
  const size_t count = text.ucs2.size();
  size_t at = 0;
  for (; at + kUnits <= count; at += kUnits) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(&out.ucs2[at]),
                     _mm_loadu_si128(reinterpret_cast<const __m128i *>(from + at)));
  }
  for (; at < count; ++at) {
    out.ucs2[at] = from[at];
  }
}

void copyUnits(const Text &text, Output &out)
{
  const char16_t *from = text.ucs2.c_str();
  char16_t *to = out.ucs2.data();
  while ((*to++ = *from++) != 0) {
  }
}

/// Adds the row of one converter, right when the form it writes is that of the text.
void addRow(const std::string &row, const Text &text, Convert convert, bool (Output::*holds)(const Text &) const)
{
  const auto out = std::make_shared<Output>(text);
  addTimedRow(
      row, 1,
      [=, &text] {
        convert(text, *out);
        return ((*out).*holds)(text);
      },
      [=, &text] {
        convert(text, *out);
        benchmark::DoNotOptimize(out->utf8.data());
        benchmark::DoNotOptimize(out->ucs2.data());
      });
}

void addRows(const std::string &kindName, const Kind &kind, const char *limit, Convert copy)
{
  static std::map<std::string, Text> texts;
  for (const size_t size : {100U, 10240U, 1048576U}) {
    const std::string name = kindName + "/" + std::to_string(size) + "/";
    const Text &text = texts.try_emplace(name, makeText(kind, size)).first->second;
    const std::string toUcs2 = "convert/utf8_to_ucs2/" + name;
    addRow(toUcs2 + "ours", text, oursToUcs2, &Output::holdsUcs2Of);
    addRow(toUcs2 + "utfcpp", text, utfcppToUcs2, &Output::holdsUcs2Of);
    addRow(toUcs2 + "iconv", text, iconvToUcs2, &Output::holdsUcs2Of);
    addRow(toUcs2 + "plain_sse2", text, plainToUcs2, &Output::holdsUcs2Of);
    addRow(toUcs2 + limit, text, copy, &Output::holdsUcs2Of);
    const std::string toUtf8 = "convert/ucs2_to_utf8/" + name;
    addRow(toUtf8 + "ours", text, oursToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + "utfcpp", text, utfcppToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + "iconv", text, iconvToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + "plain_sse2", text, plainToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + limit, text, copy, &Output::holdsUcs2Of);
  }
}

void registerRows()
{
  addRows("ascii", Kind(kAsciiWords), "sse2_copy", copyBlocks);
  addRows("latin", Kind(kLatinWords), "copy_loop", copyUnits);
  addRows("cjk", Kind(0x4E00, 0x9FFF), "copy_loop", copyUnits);
  addRows("emoji", Kind(0x1F600, 0x1F64F), "copy_loop", copyUnits);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
