// The format engine beside snprintf(3) and fmt, and typed values beside the conversions of the C and C++ libraries.
// std::to_chars and std::from_chars are limits: they convert one number whose type is known when they are compiled.

#define FMT_HEADER_ONLY
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <random>
#include <type_traits>
#include <vector>

#include "qvsupt32.h"
#include "text_rows.h"

namespace bench {
namespace {

constexpr size_t kCount = 1000;
constexpr size_t kTextMax = 256;
using TextBuffer = std::array<char, kTextMax>;

/// What is written and read: numbers of all lengths, and the words of log lines.
struct Record {
  int32_t number;
  uint64_t longNumber;
  double real;
  std::string word;
};

const std::vector<Record> &records()
{
  static const std::vector<Record> made = [] {
    std::mt19937_64 random(kSeed);
    std::vector<Record> records(kCount);
    for (Record &record : records) {
      record.number = static_cast<int32_t>(random()) >> random() % 31;
      record.longNumber = random() >> random() % 63;
      record.real = static_cast<double>(static_cast<int64_t>(random()) >> (20 + random() % 40)) / 1000.0;
      record.word.assign(4 + random() % 16, static_cast<char>('a' + random() % 26));
    }
    return records;
  }();
  return made;
}

// Writing -----------------------------------------------------------------------------------------------------------

/// What write(text, record) makes of a record. It returns the end of the text where it does not terminate it itself.
template <class Write>
std::string written(const Write &write, const Record &record)
{
  TextBuffer text;
  if constexpr (std::is_void_v<decltype(write(text, record))>) {
    write(text, record);
  } else {
    *write(text, record) = '\0';
  }
  return text.data();
}

/// Adds a row that writes every record, right when each text is that of `expected`, another way to write it.
template <class Write, class Expected>
void addWriteRow(const std::string &row, Write write, Expected expected)
{
  const auto check = [=] {
    return std::all_of(records().begin(), records().end(),
                       [&](const Record &record) { return written(write, record) == written(expected, record); });
  };
  addTimedRow(row, kCount, check, [=] {
    for (const Record &record : records()) {
      TextBuffer text;
      (void)write(text, record);  // where it ends is what checks look at
      benchmark::DoNotOptimize(text.data());
      benchmark::ClobberMemory();
    }
  });
}

/// Adds rows for a format: print(function, text, record) calls a function that takes what snprintf(3) takes, printFmt
/// calls fmt.
template <class Print, class PrintFmt>
void addFormatRows(const std::string &name, Print print, PrintFmt printFmt)
{
  const std::string row = "format/" + name + "/";
  const auto ours = [=](TextBuffer &text, const Record &record) { print(SMsnprintf, text, record); };
  const auto platform = [=](TextBuffer &text, const Record &record) { print(opaque(snprintf), text, record); };
  addWriteRow(row + "ours", ours, platform);
  addWriteRow(row + "snprintf", platform, platform);
  addWriteRow(row + "fmt", printFmt, platform);
}

template <class... Arguments>
char *printFmt(TextBuffer &text, fmt::format_string<const Arguments &...> format, const Arguments &...arguments)
{
  return fmt::format_to_n(text.data(), kTextMax - 1, format, arguments...).out;
}

template <class... Number>
char *toChars(TextBuffer &text, Number... number)
{
  return std::to_chars(text.data(), text.data() + kTextMax, number...).ptr;
}

char *threeDecimals(TextBuffer &text, const Record &record)
{
  return toChars(text, record.real, std::chars_format::fixed, 3);
}

void addFormatRows()
{
  addFormatRows(
      "int", [](auto print, TextBuffer &text, const Record &r) { print(text.data(), kTextMax, "%d", r.number); },
      [](TextBuffer &text, const Record &r) { return printFmt(text, "{}", r.number); });
  const auto decimal = [](TextBuffer &text, const Record &r) { return toChars(text, r.number); };
  addWriteRow("format/int/to_chars", decimal, decimal);

  addFormatRows(
      "string",
      [](auto print, TextBuffer &text, const Record &r) { print(text.data(), kTextMax, "%s", r.word.c_str()); },
      [](TextBuffer &text, const Record &r) { return printFmt(text, "{}", r.word.c_str()); });

  addFormatRows(
      "%.3f", [](auto print, TextBuffer &text, const Record &r) { print(text.data(), kTextMax, "%.3f", r.real); },
      [](TextBuffer &text, const Record &r) { return printFmt(text, "{:.3f}", r.real); });
  addWriteRow("format/%.3f/to_chars", threeDecimals, threeDecimals);

  addFormatRows(
      "%.17g", [](auto print, TextBuffer &text, const Record &r) { print(text.data(), kTextMax, "%.17g", r.real); },
      [](TextBuffer &text, const Record &r) { return printFmt(text, "{:.17g}", r.real); });

  addFormatRows(
      "log_line",
      [](auto print, TextBuffer &text, const Record &r) {
        print(text.data(), kTextMax, "%s[%d]: object %#06x of \"%s\" is at %.3f, status %u", r.word.c_str(), r.number,
              0x1F0U, "main enclosure", r.real, 256U);
      },
      [](TextBuffer &text, const Record &r) {
        return printFmt(text, "{}[{}]: object {:#06x} of \"{}\" is at {:.3f}, status {}", r.word.c_str(), r.number,
                        0x1F0U, "main enclosure", r.real, 256U);
      });
}

// Typed values ------------------------------------------------------------------------------------------------------

template <uint32_t kType, auto kField>
void writeTyped(TextBuffer &text, const Record &record)
{
  uint32_t size = kTextMax;
  benchmark::DoNotOptimize(SMXLTTypeValueToUTF8(&(record.*kField), 0, text.data(), &size, kType));
}

/// The texts of one field of all records.
template <class Write>
std::vector<std::string> textsOf(Write write)
{
  std::vector<std::string> texts;
  std::transform(records().begin(), records().end(), std::back_inserter(texts),
                 [&](const Record &record) { return written(write, record); });
  return texts;
}

/// Adds a row that reads a field's texts with read(text), right when each gives the field again.
template <class Number, class Read>
void addReadRow(const std::string &row, Number Record::*field, const std::vector<std::string> &texts, Read read)
{
  const auto check = [=, &texts] {
    return std::equal(texts.begin(), texts.end(), records().begin(),
                      [&](const std::string &text, const Record &record) { return read(text) == record.*field; });
  };
  addTimedRow(row, kCount, check, [=, &texts] {
    for (const std::string &text : texts) {
      benchmark::DoNotOptimize(read(text));
    }
  });
}

template <uint32_t kType, class Number>
Number readTyped(const std::string &text)
{
  Number number{};
  uint32_t size = sizeof(number);
  benchmark::DoNotOptimize(SMXLTUTF8ToTypeValue(text.c_str(), &number, &size, kType, 10));
  return number;
}

template <class Number>
Number fromChars(const std::string &text)
{
  Number number{};
  benchmark::DoNotOptimize(std::from_chars(text.data(), text.data() + text.size(), number));
  return number;
}

template <uint32_t kType, auto kField, class Number>
void addIntegerRows(const std::string &name, Number Record::*field)
{
  const auto plain = [=](TextBuffer &text, const Record &record) { return toChars(text, record.*field); };
  addWriteRow("value/write_" + name + "/ours", writeTyped<kType, kField>, plain);
  addWriteRow("value/write_" + name + "/to_chars", plain, plain);
  static const std::vector<std::string> texts = textsOf(plain);
  addReadRow("value/read_" + name + "/ours", field, texts, readTyped<kType, Number>);
  addReadRow("value/read_" + name + "/from_chars", field, texts, fromChars<Number>);
}

void registerRows()
{
  addFormatRows();
  addIntegerRows<SM_TYPE_S32, &Record::number>("s32", &Record::number);
  addIntegerRows<SM_TYPE_U64, &Record::longNumber>("u64", &Record::longNumber);

  addWriteRow("value/write_double/ours", writeTyped<SM_TYPE_DOUBLE, &Record::real>, threeDecimals);
  addWriteRow("value/write_double/to_chars", threeDecimals, threeDecimals);
  static const std::vector<std::string> texts = textsOf(threeDecimals);
  addReadRow("value/read_double/ours", &Record::real, texts, readTyped<SM_TYPE_DOUBLE, double>);
  addReadRow("value/read_double/strtod", &Record::real, texts,
             [](const std::string &text) { return strtod(text.c_str(), nullptr); });
  addReadRow("value/read_double/from_chars", &Record::real, texts, fromChars<double>);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
