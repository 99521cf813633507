// Numbers and times as text and back, one at a time. Nothing here depends on the locale but white space; the UCS-2
// doubles do, which go through the platform's own conversions.

#include <locale.h>
#include <time.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "frame/alias.h"
#include "frame/heap.h"
#include "frame/status.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/format.h"
#include "qvsupt32/strings.h"
#include "qvsupt32/value.h"
#include "text/number_scan.h"
#include "text/time_text.h"

namespace {

using qv::Status;

constexpr size_t kDigitsMax = 21;   // of a 64-bit number with sign and terminator
constexpr size_t kPatternMax = 33;  // of a 32-bit number in any radix, with terminator

/// Digits up to the first other character, modulo 2^64.
uint64_t readWrapping(const char *text)
{
  uint64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + static_cast<uint64_t>(*text - '0');
  }
  return value;
}

/// The decimal grammar of a double: one sign, digits with an optional fraction, an optional exponent, nothing else.
bool isDecimal(const char *text)
{
  const auto skipDigits = [&text] {
    const char *start = text;
    while (*text >= '0' && *text <= '9') {
      ++text;
    }
    return text != start;
  };
  text = qv::readSign(text).digits;
  bool anyDigit = skipDigits();
  if (*text == '.') {
    ++text;
    anyDigit |= skipDigits();
  }
  if (!anyDigit) {
    return false;
  }
  if (*text == 'e' || *text == 'E') {
    text = qv::readSign(text + 1).digits;
    if (!skipDigits()) {
      return false;
    }
  }
  return *text == '\0';
}

/// Whether a text is a whole number of a radix, which may have no digit at all.
Status validate(const char *text, uint32_t radix)
{
  uint32_t status = SM_STATUS_INVALID_PARAMETER;
  switch (radix) {
    case 8:
      status = IsASCIIOctalNum(text);
      break;
    case 10:
      status = IsASCIIIntNum(text, 1);
      break;
    case 16:
      status = IsASCIIHexNum(text, 1);
      if (status != SM_STATUS_SUCCESS) {
        status = IsASCIIHexNum(text, 0);
      }
      break;
    default:
      break;
  }
  return static_cast<Status>(status);
}

/// Validates the text and stores the status. Then the decimal reader reads it, or the digits of another radix are its
/// bit pattern.
template <class Number, class Unsigned, class ReadDecimal>
Number readValidated(const char *text, uint32_t radix, uint32_t *status, ReadDecimal readDecimal)
{
  const Status valid = text == nullptr ? Status::invalidParameter : validate(text, radix);
  *status = qv::result(valid);
  if (valid != Status::success) {
    return 0;
  }
  if (radix == 10) {
    return readDecimal(text);
  }
  const bool prefixed = radix == 16 && text[0] == '0' && text[1] == 'x';
  return static_cast<Number>(qv::readDigits<Unsigned>(prefixed ? text + 2 : text, radix));
}

/// Reads a UCS-2 text with a reader of 8-bit text; 0 when it holds anything but ASCII.
template <class Number>
Number readUcs2(const SMChar16 *text, Number (*read)(const char *))
{
  if (text == nullptr) {
    return 0;
  }
  constexpr uint32_t kUsualMax = 128;
  char usual[kUsualMax];
  qv::HeapBlock<char> longer;
  char *bytes = usual;
  uint32_t size = UCS2Strlen(text) + 1;
  if (size > kUsualMax) {
    longer.reset(static_cast<char *>(malloc(size)));
    bytes = longer.get();
  }
  if (bytes == nullptr || UCS2StrToUTF8Str(bytes, &size, text) != SM_STATUS_SUCCESS) {
    return 0;
  }
  return read(bytes);
}

/// Converts written text into the caller's buffer.
uint32_t toUcs2(SMChar16 *buffer, uint32_t *size, const char *text)
{
  const bool converted = UTF8StrToUCS2Str(buffer, size, text) == SM_STATUS_SUCCESS;
  return qv::result(converted ? Status::success : Status::unsuccessful);
}

double readLocalDouble(const char *text)
{
  return strtod(text, nullptr);
}

}  // namespace

namespace qv::text {

bool formTime(int64_t seconds, char *buffer)
{
  const auto time = static_cast<time_t>(seconds);
  tzset();  // ctime looks at TZ, the reentrant call would not
  if (ctime_r(&time, buffer) == nullptr) {
    return false;
  }
  const size_t length = strlen(buffer);
  if (length > 0) {
    buffer[length - 1] = '\0';
  }
  return true;
}

}  // namespace qv::text

int64_t ASCIIToSigned64(const char *text)
{
  const qv::Sign sign = qv::readSign(qv::skipSpace(text));
  const uint64_t magnitude = readWrapping(sign.digits);
  return static_cast<int64_t>(sign.negative ? 0 - magnitude : magnitude);
}

uint64_t ASCIIToUnSigned64(const char *text)
{
  text = qv::skipSpace(text);
  return readWrapping(*text == '+' ? text + 1 : text);
}

char *Signed64ToASCII(char *buffer, int64_t value)
{
  char *end = std::to_chars(buffer, buffer + kDigitsMax - 1, value).ptr;
  *end = '\0';
  return value < 0 ? buffer + 1 : buffer;
}

char *UnSigned64ToASCII(char *buffer, uint64_t value)
{
  char *end = std::to_chars(buffer, buffer + kDigitsMax - 1, value).ptr;
  *end = '\0';
  return buffer;
}

double ASCIIToDouble(const char *text)
{
  // The C locale always exists, and asking for it allocates nothing.
  return strtod_l(text, nullptr, newlocale(LC_ALL_MASK, "C", nullptr));
}

uint32_t DoubleToASCII(char *buffer, uint32_t size, double value)
{
  return OSsnprintf(buffer, size, "%.3f", value);
}

uint32_t TimeToUTF8Str(const int32_t *seconds, char *buffer)
{
  return qv::result(qv::text::formTime(*seconds, buffer) ? Status::success : Status::unsuccessful);
}

uint32_t SMTimeToUTF8Str(int64_t seconds, char *buffer)
{
  const auto kept = static_cast<int32_t>(seconds);
  return TimeToUTF8Str(&kept, buffer);
}

int32_t ASCIIToSigned32VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated<int32_t, uint32_t>(text, radix, status, qv::readSigned32);
}

uint32_t ASCIIToUnSigned32VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated<uint32_t, uint32_t>(text, radix, status, qv::readUnsigned32);
}

int64_t ASCIIToSigned64VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated<int64_t, uint64_t>(text, radix, status, ASCIIToSigned64);
}

uint64_t ASCIIToUnSigned64VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated<uint64_t, uint64_t>(text, radix, status, ASCIIToUnSigned64);
}

double ASCIIToDoubleVT(const char *text, uint32_t radix, uint32_t *status)
{
  if (radix == 10 && text != nullptr && isDecimal(text)) {
    *status = SM_STATUS_SUCCESS;
    return ASCIIToDouble(text);
  }
  return readValidated<double, uint64_t>(text, radix, status, ASCIIToDouble);
}

SMBool ASCIIToBoolnV(const char *text, uint32_t *status)
{
  constexpr char kTrue[] = "true";
  constexpr char kFalse[] = "false";
  *status = SM_STATUS_SUCCESS;
  if (UTF8Strnicmp(text, kTrue, sizeof(kTrue)) == 0) {
    return 1;
  }
  if (UTF8Strnicmp(text, kFalse, sizeof(kFalse)) != 0) {
    *status = SM_STATUS_INVALID_PARAMETER;
  }
  return 0;
}

int32_t UCS2ToSigned32(const SMChar16 *text)
{
  return readUcs2(text, qv::readSigned32);
}

uint32_t UCS2ToUnSigned32(const SMChar16 *text)
{
  return readUcs2(text, qv::readUnsigned32);
}

int64_t UCS2ToSigned64(const SMChar16 *text)
{
  return readUcs2(text, ASCIIToSigned64);
}

uint64_t UCS2ToUnSigned64(const SMChar16 *text)
{
  return readUcs2(text, ASCIIToUnSigned64);
}

double UCS2ToDouble(const SMChar16 *text)
{
  return readUcs2(text, readLocalDouble);
}

uint32_t UCS2Signed32ToStr(int32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size)
{
  char text[kPatternMax];
  (void)ltostr(text, value, radix);  // the text tells its own length
  return toUcs2(buffer, size, text);
}

uint32_t UCS2UnSigned32ToStr(uint32_t value, int32_t radix, SMChar16 *buffer, uint32_t *size)
{
  return UCS2Signed32ToStr(static_cast<int32_t>(value), radix, buffer, size);
}

uint32_t UCS2DoubleToStr(double value, int32_t decimals, SMChar16 *buffer, uint32_t *size)
{
  char format[16];
  (void)snprintf(format, sizeof(format), "%%.%df", decimals);  // it always fits
  constexpr size_t kUsualMax = 512;
  char usual[kUsualMax];
  const int length = snprintf(usual, kUsualMax, format, value);
  if (length < 0) {
    return qv::result(Status::unsuccessful);
  }
  if (static_cast<size_t>(length) < kUsualMax) {
    return toUcs2(buffer, size, usual);
  }
  const size_t longSize = static_cast<size_t>(length) + 1;
  const qv::HeapBlock<char> longer(static_cast<char *>(malloc(longSize)));
  if (longer == nullptr || snprintf(longer.get(), longSize, format, value) != length) {
    return qv::result(Status::unsuccessful);
  }
  return toUcs2(buffer, size, longer.get());
}

uint32_t UCS2TimeToStr(const int32_t *seconds, SMChar16 *buffer, uint32_t *size)
{
  char text[qv::text::kTimeRoom];
  const uint32_t status = TimeToUTF8Str(seconds, text);
  return status == SM_STATUS_SUCCESS ? toUcs2(buffer, size, text) : status;
}

QV_ALIAS(SMASCIIToSigned64, ASCIIToSigned64)
QV_ALIAS(SMASCIIToUnSigned64, ASCIIToUnSigned64)
QV_ALIAS(SMSigned64ToASCII, Signed64ToASCII)
QV_ALIAS(SMUnSigned64ToASCII, UnSigned64ToASCII)
QV_ALIAS(SMUCS2ToSigned32, UCS2ToSigned32)
QV_ALIAS(SMUCS2ToUnSigned32, UCS2ToUnSigned32)
QV_ALIAS(SMUCS2ToSigned64, UCS2ToSigned64)
QV_ALIAS(SMUCS2ToUnSigned64, UCS2ToUnSigned64)
QV_ALIAS(SMUCS2ToDouble, UCS2ToDouble)
QV_ALIAS(SMUCS2Signed32ToStr, UCS2Signed32ToStr)
QV_ALIAS(SMUCS2UnSigned32ToStr, UCS2UnSigned32ToStr)
QV_ALIAS(SMUCS2DoubleToStr, UCS2DoubleToStr)
QV_ALIAS(SMUCS2TimeToStr, UCS2TimeToStr)
