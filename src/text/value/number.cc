// Numbers as text and back, one at a time. Nothing here depends on the locale but white space and the UCS-2 doubles, which
// go through the platform's own conversions.

#include <locale.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "base/alias.h"
#include "base/heap.h"
#include "base/size.h"
#include "base/status.h"
#include "base/text.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/format.h"
#include "qvsupt32/strings.h"
#include "qvsupt32/value.h"
#include "text/value/number_scan.h"

namespace {

using qv::Status;

constexpr size_t kDigitsMax = 21;   // of a 64-bit number with sign and terminator
constexpr size_t kPatternMax = 33;  // of a 32-bit number in any radix, with terminator

/// A decimal fraction as its digits, of which `decimals` follow the point. Its grammar: one sign, digits with an
/// optional fraction, an optional exponent, nothing else.
struct Decimal {
  bool valid = false;
  bool negative = false;
  bool hasExponent = false;
  qv::Digits<uint64_t> digits;
  size_t decimals = 0;
};

Decimal scanDecimal(const char *text)
{
  Decimal decimal;
  const qv::Sign sign = qv::readSign(text);
  decimal.negative = sign.negative;
  decimal.digits = qv::readDigits<10, uint64_t>(sign.digits);
  bool anyDigit = decimal.digits.end != sign.digits;
  if (*decimal.digits.end == '.') {
    const char *fraction = decimal.digits.end + 1;
    qv::appendDigits<10>(fraction, decimal.digits);
    decimal.decimals = static_cast<size_t>(decimal.digits.end - fraction);
    anyDigit |= decimal.decimals > 0;
  }
  const char *end = decimal.digits.end;
  if (anyDigit && (*end == 'e' || *end == 'E')) {
    decimal.hasExponent = true;
    const char *exponent = qv::readSign(end + 1).digits;
    end = qv::readDigits<10, uint32_t>(exponent).end;
    anyDigit = end != exponent;
  }
  decimal.valid = anyDigit && *end == '\0';
  return decimal;
}

/// The value of a decimal, read from its text where a single division does not give it.
double toDouble(const Decimal &decimal, const char *text)
{
  // The powers of ten that a double holds exactly, as it does every integer up to 2^53: their quotient is rounded once.
  constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr uint64_t kExactUpTo = uint64_t{1} << std::numeric_limits<double>::digits;
  if (decimal.hasExponent || decimal.digits.wrapped || decimal.digits.value > kExactUpTo ||
      decimal.decimals >= std::size(kPowers)) {
    return ASCIIToDouble(text);
  }
  const double value = static_cast<double>(static_cast<int64_t>(decimal.digits.value)) / kPowers[decimal.decimals];
  return decimal.negative ? -value : value;
}

/// Reads a whole number and stores the status.
template <class Number, class Unsigned>
Number readValidated(const char *text, uint32_t radix, uint32_t *status,
                     Number (*toNumber)(bool, const qv::Digits<Unsigned> &))
{
  Number number = 0;
  *status = qv::result(qv::readWhole(text, radix, number, toNumber));
  return number;
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
  const size_t needed = qv::ucs2Length(text) + 1;
  if (needed > kUsualMax) {
    longer.reset(static_cast<char *>(malloc(needed)));
    bytes = longer.get();
  }
  uint32_t size = qv::clampSize(needed);
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

int32_t readSigned32(const char *text)
{
  return qv::readDecimal(text, qv::toSigned32);
}

uint32_t readUnsigned32(const char *text)
{
  return qv::readDecimal(text, qv::toUnsigned32);
}

double readLocalDouble(const char *text)
{
  return strtod(text, nullptr);
}

}  // namespace

int64_t ASCIIToSigned64(const char *text)
{
  return qv::readDecimal(text, qv::toSigned64);
}

uint64_t ASCIIToUnSigned64(const char *text)
{
  return qv::readDecimal(text, qv::toUnsigned64);
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
  // It always exists, allocates nothing and is never freed. Threads that come here first all store the same.
  static std::atomic<locale_t> cLocale{nullptr};
  locale_t locale = cLocale.load(std::memory_order_relaxed);
  if (locale == nullptr) {
    locale = newlocale(LC_ALL_MASK, "C", nullptr);
    cLocale.store(locale, std::memory_order_relaxed);
  }
  return strtod_l(text, nullptr, locale);
}

uint32_t DoubleToASCII(char *buffer, uint32_t size, double value)
{
  return OSsnprintf(buffer, size, "%.3f", value);
}

int32_t ASCIIToSigned32VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated(text, radix, status, qv::toSigned32);
}

uint32_t ASCIIToUnSigned32VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated(text, radix, status, qv::toUnsigned32);
}

int64_t ASCIIToSigned64VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated(text, radix, status, qv::toSigned64);
}

uint64_t ASCIIToUnSigned64VT(const char *text, uint32_t radix, uint32_t *status)
{
  return readValidated(text, radix, status, qv::toUnsigned64);
}

double ASCIIToDoubleVT(const char *text, uint32_t radix, uint32_t *status)
{
  if (radix != 10 || text == nullptr) {
    return static_cast<double>(ASCIIToUnSigned64VT(text, radix, status));
  }
  const Decimal decimal = scanDecimal(text);
  // A sign alone is a whole number without a digit.
  const bool valid = decimal.valid || IsASCIIIntNum(text, 1) == SM_STATUS_SUCCESS;
  *status = qv::result(valid ? Status::success : Status::invalidParameter);
  return decimal.valid ? toDouble(decimal, text) : 0;
}

SMBool ASCIIToBoolnV(const char *text, uint32_t *status)
{
  constexpr char kTrue[] = "true";
  constexpr char kFalse[] = "false";
  *status = SM_STATUS_SUCCESS;
  if (text != nullptr && UTF8Strnicmp(text, kTrue, sizeof(kTrue)) == 0) {
    return 1;
  }
  if (text == nullptr || UTF8Strnicmp(text, kFalse, sizeof(kFalse)) != 0) {
    *status = SM_STATUS_INVALID_PARAMETER;
  }
  return 0;
}

int32_t UCS2ToSigned32(const SMChar16 *text)
{
  return readUcs2(text, readSigned32);
}

uint32_t UCS2ToUnSigned32(const SMChar16 *text)
{
  return readUcs2(text, readUnsigned32);
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
  (void)ltostr(text, value, radix);  // the text is terminated
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
