// Numbers, times, typed values and parameters: limits, statuses and their order, what is left unwritten, locales.

#include <locale.h>
#include <time.h>

#include <climits>
#include <cmath>
#include <limits>

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

TEST(NumberTest, DecimalReadersWrapAndStop)
{
  const std::tuple<const char *, int64_t, uint64_t> rows[] = {
      {"", 0, 0},
      {" \t\n+12x3", 12, 12},
      {"-5", -5, 0},
      {"+-5", 0, 0},
      {"9223372036854775807", INT64_MAX, INT64_MAX},
      {"-9223372036854775808", INT64_MIN, 0},
      {"18446744073709551615", -1, UINT64_MAX},
      {"18446744073709551616", 0, 0},
      {"0x10", 0, 0},
  };
  for (const auto &[text, asSigned, asUnsigned] : rows) {
    EXPECT_EQ(SMASCIIToSigned64(text), asSigned) << text;
    EXPECT_EQ(SMASCIIToUnSigned64(text), asUnsigned) << text;
  }
}

TEST(NumberTest, WritersFillExactlyTheirRoom)
{
  const int64_t numbers[] = {0, 5, -5, INT64_MAX, INT64_MIN};
  for (const int64_t number : numbers) {
    GuardedBlock block(21);
    char *buffer = reinterpret_cast<char *>(block.data());
    char *digits = SMSigned64ToASCII(buffer, number);
    EXPECT_EQ(digits, number < 0 ? buffer + 1 : buffer);
    EXPECT_EQ(std::to_string(number), buffer);
    const auto pattern = static_cast<uint64_t>(number);
    EXPECT_EQ(SMUnSigned64ToASCII(buffer, pattern), buffer);
    EXPECT_EQ(std::to_string(pattern), buffer);
  }
}

TEST(NumberTest, ValidatingReaders)
{
  const struct {
    const char *text;
    uint32_t radix;
    uint32_t status;
    int32_t signed32;
    uint32_t unsigned32;
    int64_t signed64;
    uint64_t unsigned64;
  } rows[] = {
      {"-1", 10, 0, -1, 4294967295, -1, 0},
      {"+7", 10, 0, 7, 7, 7, 7},
      {"2147483648", 10, 0, INT32_MAX, 2147483648, 2147483648, 2147483648},
      {"-2147483649", 10, 0, INT32_MIN, 2147483647, -2147483649, 0},
      {"4294967296", 10, 0, INT32_MAX, UINT32_MAX, 4294967296, 4294967296},
      {"1234567890123456789", 10, 0, INT32_MAX, UINT32_MAX, 1234567890123456789, 1234567890123456789},
      {"00000000000000000000012", 10, 0, 12, 12, 12, 12},
      {"-", 10, 0, 0, 0, 0, 0},
      {" 1", 10, kInvalid, 0, 0, 0, 0},
      {"1.5", 10, kInvalid, 0, 0, 0, 0},
      {"", 10, kInvalid, 0, 0, 0, 0},
      {"12", 2, kInvalid, 0, 0, 0, 0},
      {"18", 8, kInvalid, 0, 0, 0, 0},
      {"37777777777", 8, 0, -1, UINT32_MAX, 4294967295, 4294967295},
      {"0x10", 16, 0, 16, 16, 16, 16},
      {"0x", 16, 0, 0, 0, 0, 0},
      {"aB", 16, kInvalid, 0, 0, 0, 0},
      {"ffffffff", 16, 0, -1, UINT32_MAX, 4294967295, 4294967295},
      {"80000000", 16, 0, INT32_MIN, 2147483648, 2147483648, 2147483648},
      {"ffffffffffffffff", 16, 0, -1, UINT32_MAX, -1, UINT64_MAX},
      {nullptr, 10, kInvalid, 0, 0, 0, 0},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(std::string(row.text == nullptr ? "null" : row.text) + " radix " + std::to_string(row.radix));
    uint32_t status = 99;
    EXPECT_EQ(ASCIIToSigned32VT(row.text, row.radix, &status), row.signed32);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(ASCIIToUnSigned32VT(row.text, row.radix, &status), row.unsigned32);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(ASCIIToSigned64VT(row.text, row.radix, &status), row.signed64);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(ASCIIToUnSigned64VT(row.text, row.radix, &status), row.unsigned64);
    EXPECT_EQ(status, row.status);
  }
}

TEST(NumberTest, ValidatedDoubles)
{
  const std::tuple<const char *, uint32_t, double> rows[] = {
      {"1.500", 0, 1.5},      {"-0.25", 0, -0.25},  {"+3", 0, 3},
      {".5", 0, 0.5},         {"5.", 0, 5},         {"1e3", 0, 1000},
      {"-1.5E-1", 0, -0.15},  {"1e", kInvalid, 0},  {"1e+", kInvalid, 0},
      {".", kInvalid, 0},     {"-", 0, 0},          {"1.5 ", kInvalid, 0},
      {" 1", kInvalid, 0},    {"inf", kInvalid, 0}, {"nan", kInvalid, 0},
      {"0x1p3", kInvalid, 0}, {"1,5", kInvalid, 0}, {"", kInvalid, 0},
      {"1e999", 0, HUGE_VAL},
  };
  for (const auto &[text, expected, value] : rows) {
    uint32_t status = 99;
    EXPECT_EQ(ASCIIToDoubleVT(text, 10, &status), value) << text;
    EXPECT_EQ(status, expected) << text;
  }
  uint32_t status = 99;
  // Digits beyond what a double holds and beyond 64 bits, decimals beyond the exact powers of ten.
  for (const char *text : {"9007199254740991", "9007199254740993", "-900719925474099.5", "18446744073709551617.5",
                           "0.0000000000000000000007", "0.00000000000000000000007"}) {
    EXPECT_EQ(ASCIIToDoubleVT(text, 10, &status), strtod(text, nullptr)) << text;
  }
  EXPECT_TRUE(std::signbit(ASCIIToDoubleVT("-0.000", 10, &status)));
  EXPECT_EQ(ASCIIToDoubleVT("ff", 16, &status), 255.0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(ASCIIToDoubleVT("1.5", 7, &status), 0.0);
  EXPECT_EQ(status, kInvalid);
  EXPECT_EQ(ASCIIToDouble("no number"), 0.0);
  EXPECT_EQ(ASCIIToDouble("  2.5abc"), 2.5);
}

TEST(TypedValueTest, Reading)
{
  const struct {
    const char *text;
    uint32_t type;
    uint32_t radix;
    uint32_t status;
    std::vector<uint8_t> bytes;
  } rows[] = {
      {"TRUE", SM_TYPE_BOOLEAN, 10, 0, {1, 0}},
      {"false", SM_TYPE_BOOLEAN, 10, 0, {0, 0}},
      {"yes", SM_TYPE_BOOLEAN, 10, kInvalid, {}},
      {"truer", SM_TYPE_BOOLEAN, 10, kInvalid, {}},
      {"127", SM_TYPE_S8, 10, 0, {0x7F}},
      {"128", SM_TYPE_S8, 10, kValueTooLarge, {}},
      {"-129", SM_TYPE_S8, 10, kValueTooSmall, {}},
      {"32768", SM_TYPE_S16, 10, kValueTooLarge, {}},
      {"-32769", SM_TYPE_S16, 10, kValueTooSmall, {}},
      {"-2", SM_TYPE_S32, 10, 0, {0xFE, 0xFF, 0xFF, 0xFF}},
      {"256", SM_TYPE_U8, 10, kValueTooLarge, {}},
      {"-1", SM_TYPE_U8, 10, kValueTooLarge, {}},
      {"65536", SM_TYPE_U16, 10, kValueTooLarge, {}},
      {"ab", SM_TYPE_U32, 16, 0, {171, 0, 0, 0}},
      {"aB", SM_TYPE_U32, 16, kInvalid, {}},
      {"0x1f", SM_TYPE_U32, 16, 0, {31, 0, 0, 0}},
      {"1", SM_TYPE_U32, 3, kInvalid, {}},
      {"-5", SM_TYPE_U64, 10, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
      {"xx", SM_TYPE_LANGID, 10, 0xFFFFFFFF, {}},
      {"1", SM_TYPE_TIME, 10, kBadArgument, {}},
      {"1", SM_TYPE_BINARY, 10, kBadArgument, {}},
      {"1", UINT32_MAX, 10, kBadArgument, {}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(std::string(row.text) + " as " + std::to_string(row.type));
    const auto width = static_cast<uint32_t>(row.bytes.size());
    GuardedBlock value(std::vector<uint8_t>(width == 0 ? 8 : width, 0xA5));
    uint32_t size = static_cast<uint32_t>(value.size());
    EXPECT_EQ(SMXLTUTF8ToTypeValue(row.text, value.data(), &size, row.type, row.radix), row.status);
    EXPECT_EQ(size, value.size());
    EXPECT_EQ(value.bytes(), width == 0 ? std::vector<uint8_t>(8, 0xA5) : row.bytes);
    size = 0;
    EXPECT_EQ(SMXLTUTF8ToTypeValue(row.text, nullptr, &size, row.type, row.radix), row.status) << "validation only";
    EXPECT_EQ(size, 0u);
    if (width != 0) {
      size = width - 1;
      EXPECT_EQ(SMXLTUTF8ToTypeValue(row.text, value.data(), &size, row.type, row.radix), kTooSmall);
      EXPECT_EQ(size, width);
    }
  }
  uint32_t size = 4;
  uint32_t value = 9;
  EXPECT_EQ(SMXLTUTF8ToTypeValue(nullptr, &value, &size, SM_TYPE_TIME, 10), kInvalid) << "null comes before the type";
  size = 0;
  EXPECT_EQ(SMXLTUTF8ToTypeValue("300", &value, &size, SM_TYPE_U8, 10), kValueTooLarge)
      << "the range comes before the size";
  EXPECT_EQ(size, 0u);
}

template <class T>
std::vector<uint8_t> bytesOf(T value)
{
  std::vector<uint8_t> bytes(sizeof(value));
  memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

TEST(TypedValueTest, WritingAndReadingBack)
{
  const struct {
    uint32_t type;
    std::vector<uint8_t> value;
    uint32_t least;
    const char *text;
    bool readsBack;
  } rows[] = {
      {SM_TYPE_BOOLEAN, bytesOf<int16_t>(1), 6, "true", true},
      {SM_TYPE_BOOLEAN, bytesOf<int16_t>(2), 6, "false", false},
      {SM_TYPE_S8, bytesOf<int8_t>(-128), 17, "-128", true},
      {SM_TYPE_S16, bytesOf<int16_t>(INT16_MIN), 17, "-32768", true},
      {SM_TYPE_S32, bytesOf<int32_t>(INT32_MIN), 17, "-2147483648", true},
      {SM_TYPE_S64, bytesOf<int64_t>(INT64_MIN), 33, "-9223372036854775808", true},
      {SM_TYPE_U8, bytesOf<uint8_t>(255), 16, "255", true},
      {SM_TYPE_U16, bytesOf<uint16_t>(65535), 16, "65535", true},
      {SM_TYPE_U32, bytesOf<uint32_t>(UINT32_MAX), 16, "4294967295", true},
      {SM_TYPE_U64, bytesOf<uint64_t>(UINT64_MAX), 32, "18446744073709551615", true},
      {SM_TYPE_DOUBLE, bytesOf(1.5), 32, "1.500", true},
      {SM_TYPE_DOUBLE, bytesOf(-0.0625), 32, "-0.062", false},
      {SM_TYPE_DOUBLE, bytesOf(1e60), 32, "999999999999999949387135297074018866963645011013410073083904", false},
      {SM_TYPE_LANGID, bytesOf<uint32_t>(2066), 16, "ko", true},
      {SM_TYPE_LANGID, bytesOf<uint32_t>(1042), 16, "en_US", false},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.text);
    uint32_t size = row.least - 1;
    GuardedBlock buffer(row.least);
    char *out = reinterpret_cast<char *>(buffer.data());
    memset(out, 0x5A, row.least);
    EXPECT_EQ(SMXLTTypeValueToUTF8(row.value.data(), 0, out, &size, row.type), kTooSmall);
    EXPECT_EQ(size, row.least);
    EXPECT_EQ(out[0], 0x5A) << "nothing is written";
    EXPECT_EQ(SMXLTTypeValueToUTF8(row.value.data(), 0, out, &size, row.type), 0u);
    EXPECT_EQ(size, row.least);
    EXPECT_EQ(out, std::string(row.text).substr(0, row.least - 1));
    if (row.readsBack) {
      std::vector<uint8_t> back(row.value.size());
      size = static_cast<uint32_t>(back.size());
      EXPECT_EQ(SMXLTUTF8ToTypeValue(out, back.data(), &size, row.type, 10), 0u);
      EXPECT_EQ(back, row.value);
    }
  }
  uint32_t size = 64;
  char out[64];
  EXPECT_EQ(SMXLTTypeValueToUTF8(nullptr, 0, out, &size, 13), kInvalid) << "null comes before the type";
  EXPECT_EQ(SMXLTTypeValueToUTF8("", 0, out, &size, 13), kBadArgument);
}

TEST(TimeTest, LocalTextWithoutLineFeed)
{
  for (const char *zone : {"UTC0", "CET-1"}) {
    ASSERT_EQ(setenv("TZ", zone, 1), 0);
    for (const int32_t seconds : {0, INT32_MAX, INT32_MIN, 1795057226}) {
      tzset();
      const time_t time = seconds;
      char expected[32];
      ctime_r(&time, expected);
      expected[strlen(expected) - 1] = '\0';
      GuardedBlock block(26);
      char *out = reinterpret_cast<char *>(block.data());
      EXPECT_EQ(TimeToUTF8Str(&seconds, out), 0u);
      EXPECT_STREQ(out, expected);
      EXPECT_EQ(SMTimeToUTF8Str(int64_t{seconds} + (int64_t{5} << 32), out), 0u) << "the low 32 bits count";
      EXPECT_STREQ(out, expected);
      SMChar16 units[32];
      uint32_t size = sizeof(units);
      EXPECT_EQ(SMUCS2TimeToStr(&seconds, units, &size), 0u);
      EXPECT_EQ(size, 50u);
      EXPECT_EQ(latin1(units), expected);
      size = 49;
      EXPECT_EQ(SMUCS2TimeToStr(&seconds, units, &size), 0xFFFFFFFFu);
      std::vector<uint8_t> value = bytesOf(seconds);
      char typed[64];
      size = sizeof(typed);
      EXPECT_EQ(SMXLTTypeValueToUTF8(value.data(), 0, typed, &size, SM_TYPE_TIME), 0u);
      EXPECT_STREQ(typed, expected);
    }
  }
}

TEST(Ucs2Test, Reading)
{
  const struct {
    const SMChar16 *text;
    int32_t signed32;
    uint32_t unsigned32;
    int64_t signed64;
    double real;
  } rows[] = {
      {u" -12x", -12, 4294967284, -12, -12},
      {u"99999999999", INT32_MAX, UINT32_MAX, 99999999999, 99999999999.0},
      {u"12é", 0, 0, 0, 0},
      {u"1.5e2", 1, 1, 1, 150},
      {u"", 0, 0, 0, 0},
      {nullptr, 0, 0, 0, 0},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(SMUCS2ToSigned32(row.text), row.signed32);
    EXPECT_EQ(SMUCS2ToUnSigned32(row.text), row.unsigned32);
    EXPECT_EQ(SMUCS2ToSigned64(row.text), row.signed64);
    EXPECT_EQ(SMUCS2ToDouble(row.text), row.real);
  }
  EXPECT_EQ(SMUCS2ToUnSigned64(u"18446744073709551615"), UINT64_MAX);
  const std::u16string longText = std::u16string(500, u'0') + u"7";
  EXPECT_EQ(SMUCS2ToSigned32(longText.c_str()), kNoAccess);
}

TEST(Ucs2Test, LongTextFailsWithoutMemory)
{
  const std::u16string longText = std::u16string(500, u'0') + u"7";
  SMChar16 units[2000];
  uint32_t size = sizeof(units);
  {
    const Fault fault(Call::allocation, 1);
    EXPECT_EQ(SMUCS2ToSigned32(longText.c_str()), 0);
  }
  const Fault fault(Call::allocation, 1);
  EXPECT_EQ(SMUCS2DoubleToStr(1e300, 600, units, &size), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(size, sizeof(units));
}

TEST(Ucs2Test, Writing)
{
  const struct {
    int32_t value;
    int32_t radix;
    const char *text;
  } rows[] = {{-5, 10, "-5"}, {-1, 16, "ffffffff"}, {8, 8, "10"}, {5, 2, "101"}, {-1, 7, "-1"}, {0, 2, ""}};
  for (const auto &row : rows) {
    SMChar16 units[40];
    uint32_t size = sizeof(units);
    EXPECT_EQ(SMUCS2Signed32ToStr(row.value, row.radix, units, &size), 0u);
    EXPECT_EQ(latin1(units), row.text);
    EXPECT_EQ(size, 2 * (strlen(row.text) + 1));
    EXPECT_EQ(SMUCS2UnSigned32ToStr(static_cast<uint32_t>(row.value), row.radix, units, &size), 0u);
    EXPECT_EQ(latin1(units), row.text);
    uint32_t needed = 0;
    EXPECT_EQ(SMUCS2Signed32ToStr(row.value, row.radix, nullptr, &needed), 0u);
    EXPECT_EQ(size, needed);
  }
  SMChar16 units[2000];
  uint32_t size = sizeof(units);
  EXPECT_EQ(SMUCS2DoubleToStr(2.5, 3, units, &size), 0u);
  EXPECT_EQ(latin1(units), "2.500");
  size = sizeof(units);
  EXPECT_EQ(SMUCS2DoubleToStr(1e300, 600, units, &size), 0u);
  EXPECT_EQ(size, 2u * (301 + 1 + 600 + 1));
  size = 4;
  EXPECT_EQ(SMUCS2DoubleToStr(2.5, 3, units, &size), SM_STATUS_UNSUCCESSFUL);
}

TEST(LocaleTest, DecimalCommaTouchesOnlyTheUcs2Doubles)
{
  // Made here, since few machines have one installed.
  char directory[] = "/tmp/qvsupt32-locale-XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  const std::string made = std::string(directory) + "/comma";
  const int status = system(("localedef -i de_DE -f UTF-8 " + made + " >/dev/null 2>&1").c_str());
  setenv("LOCPATH", directory, 1);
  const bool set = setlocale(LC_NUMERIC, "comma") != nullptr;
  unsetenv("LOCPATH");
  std::filesystem::remove_all(directory);
  if (!set) {
    GTEST_SKIP() << "localedef makes no German locale here, status " << status;
  }
  ASSERT_STREQ(localeconv()->decimal_point, ",");
  char out[32];
  const double value = 1.5;
  uint32_t size = sizeof(out);
  EXPECT_EQ(SMXLTTypeValueToUTF8(&value, 0, out, &size, SM_TYPE_DOUBLE), 0u);
  EXPECT_STREQ(out, "1.500");
  double back = 0;
  size = sizeof(back);
  EXPECT_EQ(SMXLTUTF8ToTypeValue(out, &back, &size, SM_TYPE_DOUBLE, 10), 0u);
  EXPECT_EQ(back, value);
  SMChar16 units[32];
  size = sizeof(units);
  EXPECT_EQ(SMUCS2DoubleToStr(value, 1, units, &size), 0u);
  EXPECT_EQ(latin1(units), "1,5");
  EXPECT_EQ(SMUCS2ToDouble(units), value);
  EXPECT_EQ(ASCIIToDouble("1.5"), value);
  EXPECT_EQ(SMsnprintf(out, sizeof(out), "%.1f", value), 3u);
  EXPECT_STREQ(out, "1.5");
  setlocale(LC_NUMERIC, "C");
}

TEST(ParameterTest, NamesAndValues)
{
  char a[] = "a=1";
  char b[] = "B=2";
  char c[] = "c";
  char none[] = "=3";
  char empty[] = "";
  char second[] = "a=4=5";
  char *parameters[] = {a, none, b, nullptr, c, empty, second};
  const std::tuple<const char *, int16_t, int32_t> rows[] = {{"a", 0, 0},  {"b", 1, 2},     {"b", 0, -1}, {"b", 2, -1},
                                                             {"c", 1, -1}, {"a=9", 0, 0},   {"", 0, -1},  {"ab", 0, -1},
                                                             {"B", 0, 2},  {nullptr, 0, -1}};
  for (const auto &[name, ignoreCase, index] : rows) {
    EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(7, parameters, name, ignoreCase), index)
        << (name == nullptr ? "null" : name);
  }
  EXPECT_EQ(SMNVPGetParamIndexByUTF8Name(INT32_MIN, parameters, "a", 0), -1);
  EXPECT_EQ(SMNVPGetUTF8ParamValueByUTF8Name(7, parameters, "b", 1), b + 2);
  EXPECT_EQ(SMNVPGetUTF8ParamValueByUTF8Name(7, parameters, "z", 1), nullptr);
  EXPECT_STREQ(SMNVPGetUTF8ParamValue(second), "4=5");

  uint16_t value = 9;
  uint32_t size = sizeof(value);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(7, parameters, "b", 1, &value, &size, SM_TYPE_U16, 10), 0u);
  EXPECT_EQ(value, 2u);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(7, parameters, "z", 1, &value, &size, SM_TYPE_U16, 10), kNotFound);
  EXPECT_EQ(SMNVPUTF8ToTypeValue(7, parameters, "a", 0, &value, &size, SM_TYPE_BOOLEAN, 10), kInvalid);

  EXPECT_STREQ(SMNVPGetUTF8ParamName(second), "a");
  EXPECT_EQ(SMNVPGetUTF8ParamName(second), nullptr) << "it is cut now";
}

}  // namespace
