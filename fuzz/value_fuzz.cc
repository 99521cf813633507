// Typed values, numbers and parameters from any bytes. Text is read into buffers that are too small and that are not,
// what is read is written and read again, and values are written at the least size. Results are compared with the
// platform's own conversions where the rules agree. The last byte of the input chooses an allocation that fails.

#include <strings.h>
#include <time.h>

#include <cmath>
#include <string>
#include <vector>

#include "failing_heap.h"
#include "qvsupt32.h"
#include "tight_buffer.h"

namespace {

using fuzz::require;
using fuzz::TightBuffer;
using fuzz::TightText;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kRadixes[] = {8, 10, 16, 0, 2};
constexpr uint32_t kValueSizes[] = {2, 1, 2, 4, 8, 1, 2, 4, 8, 8, 4, 4};
constexpr uint32_t kTextSizes[] = {6, 17, 17, 17, 33, 16, 16, 16, 32, 32, 16, 64};

// Typed values ------------------------------------------------------------------------------------------------------

template <class T>
T as(const Bytes &bytes)
{
  T value;
  memcpy(&value, bytes.data(), sizeof(value));
  return value;
}

struct Read {
  uint32_t status;
  Bytes value;
};

/// Reads a text with buffers around the size that it needs.
Read readValue(const char *text, uint32_t type, uint32_t radix)
{
  const uint32_t needed = kValueSizes[type];
  uint32_t size = 0;
  const uint32_t valid = XLTUTF8ToTypeValue(text, nullptr, &size, type, radix);
  require(size == 0, "the size of a check alone");
  Read read = {valid, {}};
  for (const uint32_t given : {needed - 1, needed, needed + 1}) {
    TightBuffer<uint8_t> out(given);
    size = given;
    const uint32_t status = XLTUTF8ToTypeValue(text, out.data(), &size, type, radix);
    const bool fits = given >= needed;
    require(status == (valid != SM_STATUS_SUCCESS || fits ? valid : SM_STATUS_BUFFER_TOO_SMALL), "a reader's status");
    require(size == (valid == SM_STATUS_SUCCESS && !fits ? needed : given), "a reader's size");
    if (status == SM_STATUS_SUCCESS) {
      read.value.assign(out.data(), out.data() + needed);
    }
    require(out.holdsOnly(status == SM_STATUS_SUCCESS ? read.value : Bytes()), "what a reader leaves");
  }
  return read;
}

/// Writes a value with the least size and with one less.
std::string writeValue(const Bytes &value, uint32_t type)
{
  const uint32_t least = kTextSizes[type];
  TightBuffer<char> out(least - 1);
  uint32_t size = least - 1;
  require(XLTTypeValueToUTF8(value.data(), 0, out.data(), &size, type) == SM_STATUS_BUFFER_TOO_SMALL && size == least,
          "a writer's size");
  require(out.holdsOnly(std::string()), "a writer without room");
  TightBuffer<char> text(least);
  require(XLTTypeValueToUTF8(value.data(), 0, text.data(), &size, type) == SM_STATUS_SUCCESS && size == least,
          "a writer's status");
  require(memchr(text.data(), 0, least) != nullptr, "a written text ends");
  return text.data();
}

/// Whether a text that was written is all of the value: some are not known, are cut, or are no numbers.
bool isWhole(const Bytes &value, const std::string &text, uint32_t type)
{
  switch (type) {
    case SM_TYPE_BOOLEAN:
      return as<SMBool>(value) == 0 || as<SMBool>(value) == 1;
    case SM_TYPE_DOUBLE: {
      char decimals[400];
      (void)snprintf(decimals, sizeof(decimals), "%.3f", as<double>(value));
      return std::fabs(as<double>(value)) < 1e12 && strtod(decimals, nullptr) == as<double>(value);
    }
    case SM_TYPE_LANGID:
      return text != "en_US" || as<uint32_t>(value) == SM_LANGUAGE_DEFAULT;
    default:
      return type != SM_TYPE_TIME;
  }
}

/// What is written reads back, as the same value or as one that is written in the same way.
void checkWritten(const Bytes &value, uint32_t type)
{
  const std::string text = writeValue(value, type);
  if (type == SM_TYPE_TIME) {
    const time_t time = as<int32_t>(value);
    char expected[26];
    require(ctime_r(&time, expected) != nullptr && text + "\n" == expected, "a time");
    return;
  }
  if (type == SM_TYPE_DOUBLE && std::isfinite(as<double>(value)) && as<double>(value) != 0) {
    char expected[400];
    (void)snprintf(expected, sizeof(expected), "%.3f", as<double>(value));
    require(text == std::string(expected).substr(0, kTextSizes[type] - 1), "a double's text");
  }
  const TightText<char> tight(reinterpret_cast<const uint8_t *>(text.data()), text.size());
  const Read read = readValue(tight.get(), type, 10);
  if (type == SM_TYPE_DOUBLE && !std::isfinite(as<double>(value))) {
    require(read.status == SM_STATUS_INVALID_PARAMETER, "no number is read");
    return;
  }
  if (isWhole(value, text, type)) {
    const bool zero = type == SM_TYPE_DOUBLE && as<double>(value) == 0;  // the sign of a zero is not written
    require(read.status == SM_STATUS_SUCCESS && (zero || read.value == value), "a value that is written and read");
  } else if (type != SM_TYPE_DOUBLE || text.size() < kTextSizes[type] - 1) {
    const bool lostSign = type == SM_TYPE_DOUBLE && text == "-0.000";
    require(read.status == SM_STATUS_SUCCESS && (lostSign || writeValue(read.value, type) == text),
            "a text that is read and written");
  }
}

/// Whether a text is [sign] digits, and its value where 64 bits hold it.
bool isInteger(const std::string &text)
{
  const size_t start = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  return !text.empty() && text.find_first_not_of("0123456789", start) == text.npos;
}

/// The readers' results in radix 10 as the platform reads the same text.
void checkDecimal(const char *text)
{
  const bool integer = isInteger(text);
  uint32_t status;
  const int64_t narrow = ASCIIToSigned32VT(text, 10, &status);
  require((status == SM_STATUS_SUCCESS) == integer, "which text is an integer");
  const double real = ASCIIToDoubleVT(text, 10, &status);
  require(status == SM_STATUS_SUCCESS || (!integer && real == 0), "which text is a double");
  if (status == SM_STATUS_SUCCESS) {
    const double expected = strtod(text, nullptr);
    require(memcmp(&real, &expected, sizeof(real)) == 0, "a double");
  }
  if (integer && strlen(text) <= 18) {
    const int64_t value = strtoll(text, nullptr, 10);
    require(narrow == std::clamp<int64_t>(value, INT32_MIN, INT32_MAX), "a 32-bit integer");
    require(ASCIIToSigned64VT(text, 10, &status) == value, "a 64-bit integer");
  }
}

void checkText(const uint8_t *data, size_t size)
{
  const TightText<char> text(data, size);
  for (uint32_t type = SM_TYPE_BOOLEAN; type <= SM_TYPE_LANGID; ++type) {
    for (const uint32_t radix : kRadixes) {
      if (const Read read = readValue(text.get(), type, radix); read.status == SM_STATUS_SUCCESS) {
        checkWritten(read.value, type);
      }
    }
  }
  checkDecimal(text.get());
}

void checkValue(const uint8_t *data, size_t size)
{
  Bytes bytes(data, data + std::min<size_t>(size, 8));
  bytes.resize(8);
  for (uint32_t type = SM_TYPE_BOOLEAN; type <= SM_TYPE_TIME; ++type) {
    checkWritten({bytes.data(), bytes.data() + kValueSizes[type]}, type);
  }
  const double thousandths = as<int32_t>(bytes) / 1000.0;
  Bytes decimal(sizeof(thousandths));
  memcpy(decimal.data(), &thousandths, sizeof(thousandths));
  checkWritten(decimal, SM_TYPE_DOUBLE);
}

void checkBinary(const uint8_t *data, size_t size)
{
  TightBuffer<uint8_t> bytes(size);  // not a vector: no bytes are not a null value
  std::copy_n(data, size, bytes.data());
  auto count = static_cast<uint32_t>(size);
  char *dump = BufToUTF8Str(bytes.data(), &count, 0);
  const std::string expected(dump, count);
  SMFreeMem(dump);
  for (const uint32_t given : {uint32_t{0}, count - 1, count, count + 1}) {
    TightBuffer<char> out(given);
    uint32_t told = given;
    const fuzz::FailingHeap heap(data, size);
    const uint32_t status =
        XLTTypeValueToUTF8(bytes.data(), static_cast<uint32_t>(size), out.data(), &told, SM_TYPE_BINARY);
    const uint32_t expectedStatus = heap.struck()    ? SM_STATUS_UNSUCCESSFUL
                                    : given >= count ? SM_STATUS_SUCCESS
                                                     : SM_STATUS_BUFFER_TOO_SMALL;
    require(status == expectedStatus && told == (heap.struck() ? given : count), "the status of a dump");
    require(out.holdsOnly(status == SM_STATUS_SUCCESS ? expected : ""), "a dump");
  }
}

// UCS-2 -------------------------------------------------------------------------------------------------------------

void checkUcs2Readers(const uint8_t *data, size_t size)
{
  const TightText<char16_t> units(data, size);
  std::string narrow;
  for (size_t i = 0; i < units.length(); ++i) {
    narrow += units.get()[i] < 0x80 ? static_cast<char>(units.get()[i]) : '?';
  }
  const bool ascii = std::all_of(units.get(), units.get() + units.length(), [](char16_t unit) { return unit < 0x80; });
  const fuzz::FailingHeap heap(data, size);
  const int64_t number = UCS2ToSigned64(units.get());
  const double real = UCS2ToDouble(units.get());
  const double expected = strtod(narrow.c_str(), nullptr);
  require(heap.struck() || number == (ascii ? ASCIIToSigned64(narrow.c_str()) : 0), "a number in UCS-2");
  require(heap.struck() || (ascii ? std::isnan(expected) || real == expected : real == 0), "a double in UCS-2");
  require(ascii || (UCS2ToSigned32(units.get()) == 0 && UCS2ToUnSigned32(units.get()) == 0), "no number in UCS-2");
}

void checkUcs2Writers(const uint8_t *data, size_t size)
{
  Bytes bytes(data, data + std::min<size_t>(size, 9));
  bytes.resize(9);
  const auto number = as<int32_t>(bytes);
  SMChar16 written[400];
  uint32_t told = sizeof(written);
  require(UCS2Signed32ToStr(number, 10, written, &told) == SM_STATUS_SUCCESS, "a number is written");
  require(told == 2 * (UCS2Strlen(written) + 1) && UCS2ToSigned32(written) == number, "a number written and read");
  for (uint32_t given = 0; given < told; ++given) {
    TightBuffer<SMChar16> out(given);
    uint32_t kept = given;
    require(UCS2Signed32ToStr(number, 10, out.data(), &kept) == SM_STATUS_UNSUCCESSFUL && kept == given,
            "a number without room");
  }
  const int decimals = bytes[8] % 32;
  char expected[400];
  (void)snprintf(expected, sizeof(expected), "%.*f", decimals, as<double>(bytes));
  told = sizeof(written);
  require(UCS2DoubleToStr(as<double>(bytes), decimals, written, &told) == SM_STATUS_SUCCESS, "a double is written");
  require(std::u16string(expected, expected + strlen(expected)) == written, "a double in UCS-2 text");
}

// Parameters --------------------------------------------------------------------------------------------------------

bool isNamed(const std::string &parameter, const std::string &name, bool ignoreCase)
{
  const size_t length = parameter.find('=');
  if (length == parameter.npos || length == 0) {
    return false;
  }
  // The name is the parameter's, alone or with its "=" and anything behind it.
  const std::string sought = name.size() == length ? name + '=' : name;
  return sought.size() > length && (ignoreCase ? strncasecmp(parameter.c_str(), sought.c_str(), length + 1)
                                               : strncmp(parameter.c_str(), sought.c_str(), length + 1)) == 0;
}

/// Lines of the input are a name and then parameters.
void checkParameters(const uint8_t *data, size_t size)
{
  std::vector<TightText<char>> texts;
  for (size_t start = 0; start <= size && texts.size() < 12;) {
    const size_t end = static_cast<size_t>(std::find(data + start, data + size, '\n') - data);
    texts.emplace_back(data + start, end - start);
    start = end + 1;
  }
  const char *name = texts.front().get();
  std::vector<char *> parameters = {nullptr};
  for (size_t i = 1; i < texts.size(); ++i) {
    parameters.push_back(texts[i].get());
  }
  const auto count = static_cast<int32_t>(parameters.size());
  for (const int16_t ignoreCase : {int16_t{0}, int16_t{1}, int16_t{2}}) {
    int32_t expected = 1;
    while (expected < count && !isNamed(parameters[static_cast<size_t>(expected)], name, ignoreCase == 1)) {
      ++expected;
    }
    expected = expected == count ? -1 : expected;
    require(GetParamIndexByUTF8StrName(count, parameters.data(), name, ignoreCase) == expected, "a parameter's index");
    uint64_t value = 0;
    uint32_t told = sizeof(value);
    const uint32_t status =
        NVPUTF8ToTypeValue(count, parameters.data(), name, ignoreCase, &value, &told, SM_TYPE_S64, 10);
    if (expected < 0) {
      require(status == SM_STATUS_NOT_FOUND, "no parameter");
      continue;
    }
    const char *text = strchr(parameters[static_cast<size_t>(expected)], '=') + 1;
    require(status == readValue(text, SM_TYPE_S64, 10).status, "a parameter's value");
  }
  for (char *parameter : parameters) {
    const uint32_t length = GetUTF8StrParamNameLen(parameter);
    require(SMIsValidParam(parameter) == (length > 0 ? 1 : 0), "whether a parameter is valid");
    const char *value = GetUTF8StrParamValue(parameter);
    require(value == (length > 0 ? parameter + length + 1 : nullptr), "where a value starts");
    require(GetUTF8StrParamName(parameter) == (length > 0 ? parameter : nullptr), "where a name starts");
    require(length == 0 || strlen(parameter) == length, "where a name is cut");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  checkText(data, size);
  checkValue(data, size);
  checkBinary(data, size);
  checkUcs2Readers(data, size);
  checkUcs2Writers(data, size);
  checkParameters(data, size);
  return 0;
}
