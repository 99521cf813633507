// Formatted output: exact bytes, results, flags and counts, at every size of a buffer that ends at an unreadable page and
// without a buffer. Digits are compared with those of the platform, which are exact as well.

#include <cfenv>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdarg>

#include "support/test.h"

namespace {

using namespace support;

constexpr uint32_t kSizeMax = 0x80000000;
constexpr uint32_t kUnset = 0x5A5A5A5A;
constexpr char kFill = '\xA5';

uint32_t formatFlagged(char *buffer, uint32_t size, uint32_t *truncated, const char *format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  const uint32_t stored = OSvsnprintf(buffer, size, truncated, format, arguments);
  va_end(arguments);
  return stored;
}

uint32_t formatListed(char *buffer, uint32_t size, const char *format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  const uint32_t stored = SMvsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return stored;
}

/// The whole output.
template <class... Arguments>
std::string formatted(const char *format, Arguments... arguments)
{
  std::vector<char> buffer(8192);
  const uint32_t stored = OSsnprintf(buffer.data(), static_cast<uint32_t>(buffer.size()), format, arguments...);
  return {buffer.data(), stored};
}

/// Formats at every size up to two more than the text needs, with and without a buffer.
template <class... Arguments>
void expectText(const std::string &expected, const char *format, Arguments... arguments)
{
  const auto sizeMax = static_cast<uint32_t>(expected.size()) + 2;
  GuardedBlock block(sizeMax);
  for (uint32_t size = 0; size <= sizeMax; ++size) {
    SCOPED_TRACE("\"" + std::string(format) + "\" in " + std::to_string(size) + " bytes");
    const uint32_t stored = std::min<uint32_t>(sizeMax - 2, size == 0 ? 0 : size - 1);
    const uint32_t truncated = size != 0 && size - 1 < expected.size() ? 1 : 0;
    std::string bytes = expected.substr(0, stored) + (size == 0 ? "" : std::string(1, '\0'));
    bytes.resize(size, kFill);

    char *buffer = reinterpret_cast<char *>(block.data()) + sizeMax - size;
    memset(buffer, kFill, size);
    uint32_t flag = kUnset;
    ASSERT_EQ(formatFlagged(buffer, size, &flag, format, arguments...), stored);
    ASSERT_EQ(bytes, std::string(buffer, size));
    ASSERT_EQ(flag, truncated);

    memset(buffer, kFill, size);
    ASSERT_EQ(OSsnprintf(buffer, size, format, arguments...), stored);
    ASSERT_EQ(bytes, std::string(buffer, size));

    flag = kUnset;
    ASSERT_EQ(formatFlagged(nullptr, size, &flag, format, arguments...), stored);
    ASSERT_EQ(flag, truncated);
  }
}

TEST(Format, LiteralTextAndUnknownDirectives)
{
  expectText("", "");
  expectText("plain text, longer than a run of 16 bytes", "plain text, longer than a run of 16 bytes");
  expectText("100%", "%d%%", 100);
  expectText("q|    %|q    |0000q|\xE9", "%q|%5%|%-5q|%+05q|%\xE9");
  // Modifiers and conversions of other printfs are no part of the directive.
  expectText("zu|jd|td|a|F|C|'d|$d7", "%zu|%jd|%td|%a|%F|%C|%'d|%1$d%d", 7);
  for (const char *format : {"before%", "before%-08.3l", "before%5", "before%#."}) {
    expectText("before", format);
  }
  expectText("before", "before%*", 5);
  EXPECT_EQ(OSsnprintf(nullptr, 10, nullptr), 0u);
}

TEST(Format, Integers)
{
  expectText("0", "%d", 0);
  expectText("-2147483648 2147483647", "%d %i", INT_MIN, INT_MAX);
  expectText("4294967295 37777777777 ffffffff FFFFFFFF", "%u %o %x %X", -1, -1, -1, -1);
  expectText("-7 4294967289 37777777771", "%D %U %O", -7, -7, -7);
  expectText("+5 -5 | 5 |+5|5 5", "%+d %+d |% d |% +d|%+u % x", 5, -5, 5, 5, 5, 5);
  expectText("    -5|-5    |-00005|+00005| 00005", "%6d|%-6d|%06d|%+06d|% 06d", -5, -5, -5, 5, 5);
  expectText("-5    |5     ", "%0-6d|%-06d", -5, 5);
  expectText("0x1f 0X1F 017 0 0 0", "%#x %#X %#o %#x %#X %#o", 31, 31, 15, 0, 0, 0);
  expectText("  0x1f|0x001f|0x1f  |000017", "%#6x|%#06x|%#-6x|%#06o", 31, 31, 31, 15);
}

TEST(Format, IntegerPrecisionCountsTheLead)
{
  expectText("-05|-5|+05|005| 05", "%.3d|%.2d|%+.3d|%.3d|% .3d", -5, -5, 5, 5, 5);
  expectText("0x01f|0x1f|0X01F", "%#.5x|%#.4x|%#.5X", 31, 31, 31);
  expectText("017|0017", "%#.3o|%#.4o", 15, 15);
  expectText("   -05|-05   |   005", "%06.3d|%-6.3d|%06.3d", -5, -5, 5);  // precision ends the zero pad
  expectText("||| |+|   ", "%.0d|%.0u|%.0x|% .0d|%+.0d|%3.0d", 0, 0, 0, 0, 0, 0);
  expectText("||0", "%#.0o|%#.0x|%#.1o", 0, 0, 0);
  expectText("5|-5|12", "%.0d|%.0d|%.1d", 5, -5, 12);
  expectText("00000000000000000000000000000000000000007", "%.41d", 7);
}

TEST(Format, WidthsPrecisionsAndModifiers)
{
  expectText("    7|7   |7   |7", "%*d|%*d|%-*d|%*d", 5, 7, -4, 7, 4, 7, 0, 7);
  expectText("007|7|7||-5", "%.*d|%.*d|%.*d|%.*d|%.*d", 3, 7, -1, 7, -3, 7, 0, 0, INT_MIN, -5);
  // Any order, and the last of several counts.
  expectText("7    |   07| 0007|  7|        7||00007|0x007", "%5-d|%.3 5d|%5.9.4d|%9*d|%*9d|%.3.d|%.05d|%.5#x", 7, 7, 7,
             3, 7, 3, 7, 0, 7, 7);
  expectText("9029 65535 9029 21505 2345 FFFF -1 -32768 0", "%hd %hu %hhd %ho %hx %hX %hi %hd %#hx", 0x12345, -1,
             0x12345, 0x12345, 0x12345, -1, 0xFFFF, 0x8000, 0x10000);
  expectText("74565 74565 74565 4294967295 74565", "%ld %hld %lhhd %llu %hD", 0x12345, 0x12345, 0x12345, -1, 0x12345);
}

TEST(Format, CharactersAndStrings)
{
  expectText(std::string("A|  A|A  |00A|A|A|\0|", 20), "%c|%3c|%-3c|%03c|%+.0c|%lc|%c|", 'A', 'A', 'A', 'A', 0x141, 'A',
             0);
  expectText("abc|   abc|abc   |000abc|ab||abc|abc", "%s|%6s|%-6s|%06s|%.2s|%.0s|%+s|%ls", "abc", "abc", "abc", "abc",
             "abc", "abc", "abc", "abc");
  const char *none = nullptr;
  expectText("(null)|(null)|(nu|  (null)||(nul  ", "%s|%-s|%.3s|%8s|%.0s|%-6.4s", none, none, none, none, none, none);

  GuardedBlock unterminated(std::vector<uint8_t>{'a', 'b', 'c'});
  expectText("abc|  ab|", "%.3s|%4.2s|%.0s", unterminated.data(), unterminated.data(), unterminated.data());
  EXPECT_EQ(formatted("%.2147483647s", "abc"), "abc");
}

TEST(Format, Pointers)
{
  const auto pointer = reinterpret_cast<void *>(uintptr_t{0x1234ABCD});
  void *null = nullptr;
  expectText("0x1234abcd|  0x1234abcd|0x1234abcd  |0x001234abcd", "%p|%12p|%-12p|%012p", pointer, pointer, pointer,
             pointer);
  expectText("0x001234abcd|0x1234abcd|0x1234abcd|0x0|0x", "%.12p|%+p|%hp|%p|%.0p", pointer, pointer, pointer, null,
             null);
  expectText("0x" + std::string(2 * sizeof(void *), 'f'), "%p", reinterpret_cast<void *>(UINTPTR_MAX));
}

TEST(Format, FixedStyle)
{
  expectText("1.500000|2|2|4|0.10|0.000000", "%f|%.0f|%.0f|%.0f|%.2f|%f", 1.5, 1.6, 2.5, 3.5, 0.1, -0.0);
  expectText("   -3.14|-3.14   |-0003.14|+3.14| 3.14", "%8.2f|%-8.2f|%08.2f|%+.2f|% .2f", -3.14159, -3.14159, -3.14159,
             3.14159, 3.14159);
  // No digit is left of these, which is not the same as a zero.
  expectText("0.|0.|-0.|   0.|0.|0|1", "%.0f|%.0f|%.0f|%5.0f|%#.0f|%.0f|%.0f", 0.3, 0.5, -0.5, 0.3, 0.3, 0.0, 0.6);
  // A zero has no point here, and the size of one.
  int32_t counts[2];
  expectText("0|   0|0000|0   |+0|1.|", "%#.0f|%#5.0f|%#05.0f|%-#5.0f|%n%+#.0f|%#.0f|%n", 0.0, 0.0, 0.0, 0.0,
             &counts[0], 0.0, 1.0, &counts[1]);
  EXPECT_EQ(counts[0], 21);
  EXPECT_EQ(counts[1], 28);
  expectText("0.0|0.1|-0.0|0.00|9.99|10.0", "%.1f|%.1f|%.1f|%.2f|%.2f|%.1f", 0.04, 0.05, -0.003, 0.001, 9.994, 9.96);
  expectText("0.12|0.38|1.0005|1.000", "%.2f|%.2f|%.4f|%.3f", 0.125, 0.375, 1.0005, 1.0005);
}

TEST(Format, ExponentialStyle)
{
  expectText("1.5e+00|0e+00|1e+100|1E-05|1.500000e+00", "%e|%e|%e|%E|%#e", 1.5, 0.0, 1e100, 1e-5, 1.5);
  expectText("0.000000e+00|0.e+00|0e+00|2e+00|2.e+00", "%#e|%#.0e|%.0e|%.0e|%#.0e", 0.0, 0.0, 0.0, 1.5, 1.5);
  expectText("  -1.5e+00|-001.5e+00|-1.5e+00  |+1.5E+00", "%10e|%010e|%-10e|%+E", -1.5, -1.5, -1.5, 1.5);
  expectText("1e+01|9.99e+09|4.940656e-324|1.23457e+08", "%.1e|%.2e|%e|%.5e", 9.96, 9.994e9, DBL_TRUE_MIN, 123456789.0);
}

TEST(Format, GeneralStyle)
{
  expectText("100000|1e+06|0.0001|1e-05|1E-05", "%g|%g|%g|%g|%G", 1e5, 1e6, 1e-4, 1e-5, 1e-5);
  expectText("5e+00|0.5|0e+00|1e+00|0.e+00|0.5", "%.0g|%.0g|%.0g|%.0g|%#.0g|%#.0g", 5.0, 0.5, 0.0, 0.97, 0.0, 0.5);
  expectText("100000.|1.00000|0.00000|0.|0.000100000|1.00e+03|100.", "%#g|%#g|%#g|%#.1g|%#g|%#.3g|%#.3g", 1e5, 1.0, 0.0,
             0.0, 1e-4, 999.9995, 100.0);
  expectText("0|0.10000000000000001|1000000|-123.5|   1.5|0001.5|1.5   ", "%g|%.17g|%.7g|%g|%6g|%06g|%-6g", 0.0, 0.1,
             1e6, -123.5, 1.5, 1.5, 1.5);
  expectText("999999|1e+06|0.0001|9.9999e-05", "%g|%g|%.3g|%.5g", 999999.4, 999999.5, 0.00009999, 0.000099999);
}

TEST(Format, NoNumbers)
{
  for (const char *style : {"f", "e", "E", "g", "G", ".0f", "#.3e"}) {
    const std::string conversion = style;
    expectText("Inf|-Inf|+Inf| Inf",
               ("%" + conversion + "|%" + conversion + "|%+" + conversion + "|% " + conversion).c_str(), HUGE_VAL,
               -HUGE_VAL, HUGE_VAL, HUGE_VAL);
    expectText("NaN|NaN|+NaN", ("%" + conversion + "|%" + conversion + "|%+" + conversion).c_str(), double{NAN},
               -double{NAN}, double{NAN});
  }
  expectText("000Inf|-00Inf|   NaN|Inf   |000NaN", "%06f|%06e|%6g|%-06f|%06g", HUGE_VAL, -HUGE_VAL, double{NAN},
             HUGE_VAL, double{NAN});
}

TEST(Format, DigitsAreThoseOfTheExactValue)
{
  std::vector<double> values = {0.0,  0.5,      1.5,          2.5,     0.125,        0.3,  0.05,
                                9.5,  99.5,     1e5,          1e6,     1e22,         1e23, 1e-4,
                                1e-5, 999999.5, DBL_MAX,      DBL_MIN, DBL_TRUE_MIN, 0.1,  9007199254740993.0,
                                5e-5, 0.00095,  123456789.125};
  values.insert(values.end(), {0x1p-10, 0x1.FFFFFFFFFFFFFp-11, 0.99951171875, 0x1p31, 0x1.FFFFFFFFFFFFFp30});
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 200; ++i) {
    const uint64_t bits = random() & 0x7FFFFFFFFFFFFFFF;
    double value;
    memcpy(&value, &bits, sizeof(value));
    values.push_back(std::isfinite(value) ? value : 1.0);
    values.push_back(std::ldexp(static_cast<double>(random() % 100000), -static_cast<int>(random() % 20)));
  }
  // Where the rules agree with the platform's, whose digits are exact as well.
  for (const int precision : {1, 2, 3, 5, 6, 16, 17, 25, 340, 766, 1073, 1074, 1080}) {
    for (const double value : values) {
      for (const char *format : {"%.*f", "%#.*f", "%#.*e", "%.*g"}) {
        char expected[1500];
        (void)snprintf(expected, sizeof(expected), format, precision, value);
        ASSERT_EQ(formatted(format, precision, value), expected) << format << " " << precision << " " << value;
      }
    }
  }
}

TEST(Format, DigitsDoNotDependOnTheRoundingMode)
{
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(fesetround(mode), 0);
    const std::string text = formatted("%.1f %.2e %.3g %.0f", 0.25, 1.005, 2.0625, 2.5);
    ASSERT_EQ(fesetround(FE_TONEAREST), 0);
    EXPECT_EQ(text, "0.2 1e+00 2.06 2") << mode;
  }
}

TEST(Format, UCS2Text)
{
  const char16_t text[] = u"h\u00E9\u20AC\U0001F600";
  const SMChar16 *none = nullptr;
  expectText("h\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "%S", text);
  expectText("[  h\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80|h\xC3|    h|h    |00h|]", "[%12S|%.2S|%5.1S|%-5.1S|%03.1S|%.0S]",
             text, text, text, text, text, text);
  expectText("|(null)|(nu|  (null)", "%S|%S|%.3S|%8S", u"", none, none, none);
}

TEST(Format, AnInvalidUCS2TextEndsTheOutput)
{
  const SMChar16 loneLow[] = {u'A', 0xDC00, 0};
  const SMChar16 loneHigh[] = {u'A', 0xD800, u'B', 0};
  for (const SMChar16 *text : {loneLow, loneHigh}) {
    expectText("7 before ", "%d before %S after", 7, text);
    expectText("before", "before%20S after", text);
    expectText("before", "before%.1S after", text);  // the conversion comes before the cut
    int32_t count = -1;
    expectText("before", "before%S%n", text, &count);
    EXPECT_EQ(count, -1);
  }
}

TEST(Format, OnlyUCS2TextFailsWithoutMemory)
{
  char buffer[4096];
  const auto failures = [&](auto... arguments) {
    return failEach(Call::allocation, ENOMEM, [&](unsigned) { OSsnprintf(buffer, sizeof(buffer), arguments...); });
  };
  const SMChar16 *none = nullptr;
  EXPECT_EQ(failures("%d %s %f %.17g %#.800e %p %S", 1, "text", DBL_MAX, 0.1, 1e-300, buffer, none), 0u);
  const long blocks = liveBlocks();
  EXPECT_EQ(failures("ab%Scd", u"\u20AC"), 1u);
  const Fault fault(Call::allocation, 1);
  EXPECT_EQ(OSsnprintf(buffer, sizeof(buffer), "ab%Scd", u"\u20AC"), 2u);
  EXPECT_EQ(liveBlocks(), blocks);
}

TEST(Format, CountIsThatOfTheWholeOutput)
{
  const auto countOf = [](char *buffer, uint32_t size) {
    int32_t count = -1;
    OSsnprintf(buffer, size, "fifteen bytes..%ntail", &count);
    return count;
  };
  char buffer[32];
  EXPECT_EQ(countOf(buffer, 32), 15);
  EXPECT_EQ(countOf(buffer, 10), 15);
  EXPECT_EQ(countOf(buffer, 0), 15);
  EXPECT_EQ(countOf(nullptr, 10), 15);
  EXPECT_EQ(countOf(nullptr, 0), 15);
  EXPECT_EQ(countOf(buffer, kSizeMax + 1), 15);

  int32_t counts[3];
  expectText("12  345|0.|6", "12%n%5d|%.0f%n|%5n6", &counts[0], 345, 0.3, &counts[1], &counts[2]);
  EXPECT_EQ(counts[0], 2);
  EXPECT_EQ(counts[1], 10);
  EXPECT_EQ(counts[2], 11);

  int16_t shorts[4] = {-1, -1, -1, -1};
  OSsnprintf(nullptr, 0, "%70000d%hn", 1, &shorts[1]);
  EXPECT_EQ(shorts[1], 70000 - 65536);
  EXPECT_EQ(shorts[2], -1);
  int32_t whole = -1;
  OSsnprintf(nullptr, 0, "%70000d%hln", 1, &whole);
  EXPECT_EQ(whole, 70000);
}

TEST(Format, SizesThatDoNotCount)
{
  for (const uint32_t size : {0u, kSizeMax + 1, UINT32_MAX}) {
    char buffer[4];
    memset(buffer, kFill, sizeof(buffer));
    uint32_t flag = kUnset;
    EXPECT_EQ(formatFlagged(buffer, size, &flag, "%d%s", 12, "text"), 0u);
    EXPECT_EQ(std::string(buffer, 4), std::string(4, kFill));
    EXPECT_EQ(flag, 0u);
    EXPECT_EQ(OSsnprintf(nullptr, size, "text"), 0u);
  }
  GuardedBlock block(4);
  auto *buffer = reinterpret_cast<char *>(block.data());
  uint32_t flag = kUnset;
  EXPECT_EQ(formatFlagged(buffer, kSizeMax, &flag, "%d%s", 1, "23"), 3u);
  EXPECT_STREQ(buffer, "123");
  EXPECT_EQ(flag, 0u);
}

struct Extreme {
  const char *format;
  std::string text;  // in a buffer of 10
  int32_t count;
};

/// Nothing may be built that there is no room for: each of these has two thousand million bytes.
TEST(Format, ExtremeWidthsAndPrecisions)
{
  const Extreme kIntegers[] = {
      {"%2000000000d%n", "         ", 2000000000},   {"%-2000000000d%n", "5        ", 2000000000},
      {"%02000000000d%n", "000000000", 2000000000},  {"%.2000000000d%n", "000000000", 2000000000},
      {"%2000000000c%n", "         ", 2000000000},   {"%99999999999x%n", "         ", INT32_MAX},
      {"%2147483648d%n", "         ", INT32_MAX},    {"%.4294967295u%n", "000000000", INT32_MAX},
      {"%#.2000000000x%n", "0x0000000", 2000000000}, {"%1999999999.2000000000d%n", "000000000", 2000000000},
  };
  const Extreme kFloatings[] = {
      {"%.2000000000f%n", "1.5000000", 2000000002},
      {"%2000000000f%n", "         ", 2000000000},
      {"%#.2000000000e%n", "1.5000000", 2000000006},
      {"%#.2000000000g%n", "1.5000000", 2000000001},
      {"%.2000000000e%n", "1.5e+00", 7},
      {"%.2000000000g%n", "1.5", 3},
      {"%.2147483647f%n", "1.5000000", INT32_MAX},
      {"%#.2147483647e%n", "1.5000000", INT32_MAX},
      {"%.99999999999e%n", "1.5e+00", 7},
      {"%#2147483647.2147483647G%n", "1.5000000", INT32_MAX},
  };
  const auto expectExtreme = [](const Extreme &extreme, auto... arguments) {
    char buffer[10];
    int32_t count = 0;
    ASSERT_EQ(OSsnprintf(buffer, sizeof(buffer), extreme.format, arguments..., &count), extreme.text.size());
    ASSERT_EQ(buffer, extreme.text) << extreme.format;
    ASSERT_EQ(count, extreme.count) << extreme.format;
  };
  for (int repeated = 0; repeated < 100; ++repeated) {
    for (const Extreme &extreme : kIntegers) {
      expectExtreme(extreme, 5);
    }
    for (const Extreme &extreme : kFloatings) {
      expectExtreme(extreme, 1.5);
    }
    for (const int width : {INT_MIN, INT_MIN + 1}) {
      expectExtreme({"%*d%n", "5        ", INT32_MAX}, width, 5);
    }
    // Not around the corner.
    expectExtreme({"%2000000000d%2000000000s%.2000000000f%n", "         ", INT32_MAX}, 1, "", 1.0);
  }
  uint32_t flag;
  EXPECT_EQ(formatFlagged(nullptr, kSizeMax, &flag, "%2147483647d", 5), 2147483647u);
  EXPECT_EQ(flag, 0u);
  EXPECT_EQ(formatFlagged(nullptr, kSizeMax, &flag, "%2147483646d%d", 5, 67), 2147483647u);
  EXPECT_EQ(flag, 1u);
}

TEST(Format, EveryNameTakesAnyNumberOfArguments)
{
  const std::string expected = "1 0.5 two 3 2.25 4 5 6 0.125 7 8 eight 1e+10 9 -1 -2 -4 -8 -16 10 -32";
  const auto expectAll = [&](auto function) {
    char buffer[100];
    EXPECT_EQ(function(buffer, 100, "%d %g %s %d %g %d %u %d %g %d %x %s %g %d %g %g %g %g %g %d %g", 1, 0.5, "two", 3,
                       2.25, 4, 5, 6, 0.125, 7, 8, "eight", 1e10, 9, -1.0, -2.0, -4.0, -8.0, -16.0, 10, -32.0),
              expected.size());
    EXPECT_EQ(buffer, expected);
  };
  expectAll(OSsnprintf);
  expectAll(SMsnprintf);
  expectAll(formatListed);
  expectAll([](char *to, uint32_t size, const char *format, auto... arguments) {
    return formatFlagged(to, size, nullptr, format, arguments...);
  });
}

}  // namespace
