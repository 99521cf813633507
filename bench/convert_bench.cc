// UTF-8 to UCS-2 and back beside utfcpp and iconv, by kinds of text. In both directions the limit copies the UCS-2
// form: by blocks of SSE2 for ASCII, unit by unit up to the terminator for all others.

#include <emmintrin.h>
#include <iconv.h>
#include <utf8.h>

#include <algorithm>
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
    addRow(toUcs2 + limit, text, copy, &Output::holdsUcs2Of);
    const std::string toUtf8 = "convert/ucs2_to_utf8/" + name;
    addRow(toUtf8 + "ours", text, oursToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + "utfcpp", text, utfcppToUtf8, &Output::holdsUtf8Of);
    addRow(toUtf8 + "iconv", text, iconvToUtf8, &Output::holdsUtf8Of);
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
