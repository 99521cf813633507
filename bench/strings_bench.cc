// The UCS-2 string functions beside std::u16string_view, which has to find the end of a string first just as they do,
// and the dynamic strings beside std::string and std::u16string.

#include <algorithm>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "qvsupt32.h"
#include "text_rows.h"

namespace bench {
namespace {

/// A string of capitals, its double, and a short string that only its end has.
struct Subject {
  explicit Subject(size_t length) : s(length, u'\0'), copy(length + 1)
  {
    std::mt19937 random(kSeed);
    std::generate(s.begin(), s.end(), [&random] { return static_cast<char16_t>('A' + random() % 26); });
    std::copy(needle.begin(), needle.end(), s.end() - static_cast<ptrdiff_t>(needle.size()));
    twin = s;
  }

  const std::u16string needle = u"VOLt";
  std::u16string s;
  std::u16string twin;
  std::vector<char16_t> copy;
};

using View = std::u16string_view;
using Operation = size_t (*)(Subject &);

size_t oursLength(Subject &subject)
{
  return UCS2Strlen(opaque(subject.s.c_str()));
}

size_t viewLength(Subject &subject)
{
  return View(opaque(subject.s.c_str())).size();
}

size_t oursCopy(Subject &subject)
{
  return static_cast<size_t>(UCS2Strcpy(subject.copy.data(), opaque(subject.s.c_str())) - subject.copy.data());
}

size_t viewCopy(Subject &subject)
{
  const View view(opaque(subject.s.c_str()));
  subject.copy[view.copy(subject.copy.data(), View::npos)] = 0;
  return 0;
}

size_t oursCompare(Subject &subject)
{
  return UCS2Strcmp(opaque(subject.s.c_str()), opaque(subject.twin.c_str()));
}

size_t viewCompare(Subject &subject)
{
  return static_cast<size_t>(View(opaque(subject.s.c_str())).compare(View(opaque(subject.twin.c_str()))));
}

size_t oursFindUnit(Subject &subject)
{
  const char16_t *s = opaque(subject.s.c_str());
  return static_cast<size_t>(UCS2Strchr(s, subject.needle.back()) - s);
}

size_t viewFindUnit(Subject &subject)
{
  return View(opaque(subject.s.c_str())).find(subject.needle.back());
}

size_t oursFind(Subject &subject)
{
  const char16_t *s = opaque(subject.s.c_str());
  return static_cast<size_t>(UCS2Strstr(s, opaque(subject.needle.c_str())) - s);
}

size_t viewFind(Subject &subject)
{
  return View(opaque(subject.s.c_str())).find(View(opaque(subject.needle.c_str())));
}

/// Separators, of which only the end of a subject has one.
constexpr char16_t kSet[] = u" ,;t";

size_t oursOutside(Subject &subject)
{
  return UCS2Strcspn(opaque(subject.s.c_str()), opaque(kSet));
}

size_t viewOutside(Subject &subject)
{
  return View(opaque(subject.s.c_str())).find_first_of(kSet);
}

void addRow(const std::string &row, const std::shared_ptr<Subject> &subject, Operation operation, size_t expected)
{
  const bool copies = operation == oursCopy || operation == viewCopy;
  addTimedRow(
      row, 1, [=] { return operation(*subject) == expected && (!copies || View(subject->copy.data()) == subject->s); },
      [=] { benchmark::DoNotOptimize(operation(*subject)); });
}

void addStringRows(size_t length)
{
  const auto subject = std::make_shared<Subject>(length);
  const auto add = [&](const char *name, Operation ours, Operation view, size_t expected) {
    const std::string row = "strings/" + std::string(name) + "/" + std::to_string(length) + "/";
    addRow(row + "ours", subject, ours, expected);
    addRow(row + "u16string_view", subject, view, expected);
  };
  add("strlen", oursLength, viewLength, length);
  add("strcpy", oursCopy, viewCopy, 0);
  add("strcmp", oursCompare, viewCompare, 0);
  add("strchr", oursFindUnit, viewFindUnit, length - 1);
  add("strcspn", oursOutside, viewOutside, length - 1);
  add("strstr", oursFind, viewFind, length - subject->needle.size());
}

// Appending ---------------------------------------------------------------------------------------------------------

constexpr size_t kPieces = 1000;
constexpr size_t kLongestPiece = 20;
constexpr uint32_t kInitialSize = 64;

/// Words as a log line is made of; each is a string of its own, and `whole` is all of them.
template <class Unit>
struct Pieces {
  Pieces() : each(kPieces)
  {
    std::mt19937 random(kSeed);
    for (auto &piece : each) {
      piece.assign(1 + random() % kLongestPiece, static_cast<Unit>('a' + random() % 26));
      whole += piece;
    }
  }

  std::vector<std::basic_string<Unit>> each;
  std::basic_string<Unit> whole;
};

/// A dynamic string of the library in the clothes of its peers.
template <class Record, class Unit, Unit *(*alloc)(Record *, uint32_t), Unit *(*cat)(Record *, const Unit *),
          void (*release)(Record *)>
class DynamicString {
 public:
  DynamicString() { (void)alloc(&record_, kInitialSize); }
  ~DynamicString() { release(&record_); }
  DynamicString(const DynamicString &) = delete;
  DynamicString &operator=(const DynamicString &) = delete;

  void append(const Unit *piece) { (void)cat(&record_, piece); }
  const Unit *c_str() const { return record_.pStr; }

 private:
  Record record_;
};

using OurUtf8 = DynamicString<SSUTF8Str, char, SSUTF8StrAlloc, SSUTF8StrCatUTF8Str, SSUTF8StrFree>;
using OurUcs2 = DynamicString<SSUCS2Str, char16_t, SSUCS2StrAlloc, SSUCS2StrCatUCS2Str, SSUCS2StrFree>;

template <class String, class Unit>
void addAppendRow(const char *row, const Pieces<Unit> &pieces)
{
  const auto build = [&pieces](String &string) {
    for (const auto &piece : pieces.each) {
      string.append(opaque(piece.c_str()));
    }
  };
  addTimedRow(
      row, kPieces,
      [&pieces, build] {
        String string;
        build(string);
        return pieces.whole == string.c_str();
      },
      [build] {
        String string;
        build(string);
        benchmark::DoNotOptimize(string.c_str());
      });
}

void registerRows()
{
  for (const size_t length : {16U, 100U, 10000U}) {
    addStringRows(length);
  }
  static const Pieces<char> kUtf8;
  static const Pieces<char16_t> kUcs2;
  addAppendRow<OurUtf8>("append/utf8/ours", kUtf8);
  addAppendRow<std::string>("append/utf8/std_string", kUtf8);
  addAppendRow<OurUcs2>("append/ucs2/ours", kUcs2);
  addAppendRow<std::u16string>("append/ucs2/std_u16string", kUcs2);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
