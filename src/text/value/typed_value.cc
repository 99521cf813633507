// Typed values as text and back: one table has the sizes and kinds of the thirteen types.

#include <charconv>
#include <cstring>

#include "base/alias.h"
#include "base/heap.h"
#include "base/size.h"
#include "base/status.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/format.h"
#include "qvsupt32/language.h"
#include "qvsupt32/value.h"
#include "text/value/number_scan.h"
#include "text/value/time_text.h"

namespace {

using qv::Status;

enum class Kind : uint8_t { boolean, signedInteger, unsignedInteger, real, language, time, binary };

struct Type {
  Kind kind;
  uint8_t width;     // bytes of the binary value
  uint8_t textSize;  // the least size of the text's buffer, terminator included
};

/// By type code.
constexpr Type kTypes[] = {
    {Kind::boolean, 2, 6},          {Kind::signedInteger, 1, 17},
    {Kind::signedInteger, 2, 17},   {Kind::signedInteger, 4, 17},
    {Kind::signedInteger, 8, 33},   {Kind::unsignedInteger, 1, 16},
    {Kind::unsignedInteger, 2, 16}, {Kind::unsignedInteger, 4, 16},
    {Kind::unsignedInteger, 8, 32}, {Kind::real, 8, 32},
    {Kind::language, 4, 16},        {Kind::time, 4, 64},
    {Kind::binary, 0, 0},
};
static_assert(sizeof(kTypes) / sizeof(kTypes[0]) == SM_TYPE_BINARY + 1);

/// The bytes of a value that was read, at most eight, in the machine's order.
struct Bits {
  uint64_t value;
};

template <class T>
Bits bitsOf(T value)
{
  Bits bits = {};
  memcpy(&bits.value, &value, sizeof(value));
  return bits;
}

/// Stores the first bytes of a value that was read: one, two, four or eight, since a copy of any size is a call.
void store(void *to, const Bits &bits, uint8_t width)
{
  switch (width) {
    case 1:
      memcpy(to, &bits.value, 1);
      break;
    case 2:
      memcpy(to, &bits.value, 2);
      break;
    case 4:
      memcpy(to, &bits.value, 4);
      break;
    default:
      memcpy(to, &bits.value, 8);
      break;
  }
}

template <class T>
T load(const void *from)
{
  T value;
  memcpy(&value, from, sizeof(value));
  return value;
}

/// Reads a number of the type's full width.
template <class Number, class Unsigned>
[[gnu::noinline]] Status readNumber(const char *text, uint32_t radix, Bits &bits,
                                    Number (*toNumber)(bool, const qv::Digits<Unsigned> &))
{
  Number number;
  const Status status = qv::readWhole(text, radix, number, toNumber);
  if (status == Status::success) {
    bits = bitsOf(number);
  }
  return status;
}

/// Numbers of up to 32 bits are read as 32-bit ones; the narrow types then have their range.
[[gnu::noinline, gnu::flatten]] Status readSigned(const char *text, uint8_t width, uint32_t radix, Bits &bits)
{
  int32_t number;
  const Status status = qv::readWhole(text, radix, number, qv::toSigned32);
  if (status != Status::success) {
    return status;
  }
  bits = bitsOf(number);
  const int32_t most = INT32_MAX >> (8 * (sizeof(number) - width));
  if (number > most) {
    return Status::valueTooLarge;
  }
  return number < -most - 1 ? Status::valueTooSmall : Status::success;
}

[[gnu::noinline, gnu::flatten]] Status readUnsigned(const char *text, uint8_t width, uint32_t radix, Bits &bits)
{
  uint32_t number;
  const Status status = qv::readWhole(text, radix, number, qv::toUnsigned32);
  if (status != Status::success) {
    return status;
  }
  bits = bitsOf(number);
  return number > UINT32_MAX >> (8 * (sizeof(number) - width)) ? Status::valueTooLarge : Status::success;
}

/// Reads a text as a value of a type that is no integer.
[[gnu::noinline]] Status readOther(const char *text, Kind kind, uint32_t radix, Bits &bits)
{
  uint32_t status = SM_STATUS_SUCCESS;
  switch (kind) {
    case Kind::boolean:
      bits = bitsOf(ASCIIToBoolnV(text, &status));
      return status == SM_STATUS_SUCCESS ? Status::success : Status::invalidParameter;
    case Kind::real:
      bits = bitsOf(ASCIIToDoubleVT(text, radix, &status));
      return status == SM_STATUS_SUCCESS ? Status::success : Status::invalidParameter;
    case Kind::language:
      bits = bitsOf(GetLangIDFromLocaleName(text, &status));
      return status == SM_STATUS_SUCCESS ? Status::success : Status::unsuccessful;
    case Kind::signedInteger:
    case Kind::unsignedInteger:
    case Kind::time:
    case Kind::binary:
      break;
  }
  return Status::badArgument;
}

/// Reads a text as a value of the type. On the little-endian machine the first bytes of the bits are the value.
Status readValue(const char *text, const Type &type, uint32_t radix, Bits &bits)
{
  if (type.kind == Kind::signedInteger) {
    return type.width == 8 ? readNumber(text, radix, bits, qv::toSigned64) : readSigned(text, type.width, radix, bits);
  }
  if (type.kind == Kind::unsignedInteger) {
    return type.width == 8 ? readNumber(text, radix, bits, qv::toUnsigned64)
                           : readUnsigned(text, type.width, radix, bits);
  }
  return readOther(text, type.kind, radix, bits);
}

template <class T>
[[gnu::noinline]] Status writeInteger(char *buffer, T value)
{
  constexpr size_t kDigitsMax = 20;
  *std::to_chars(buffer, buffer + kDigitsMax, value).ptr = '\0';
  return Status::success;
}

Status writeSigned(char *buffer, const void *value, uint8_t width)
{
  switch (width) {
    case 1:
      return writeInteger(buffer, int32_t{load<int8_t>(value)});
    case 2:
      return writeInteger(buffer, int32_t{load<int16_t>(value)});
    case 4:
      return writeInteger(buffer, load<int32_t>(value));
    default:
      return writeInteger(buffer, load<int64_t>(value));
  }
}

Status writeUnsigned(char *buffer, const void *value, uint8_t width)
{
  switch (width) {
    case 1:
      return writeInteger(buffer, uint32_t{load<uint8_t>(value)});
    case 2:
      return writeInteger(buffer, uint32_t{load<uint16_t>(value)});
    case 4:
      return writeInteger(buffer, load<uint32_t>(value));
    default:
      return writeInteger(buffer, load<uint64_t>(value));
  }
}

Status writeText(char *buffer, const char *text)
{
  memcpy(buffer, text, strlen(text) + 1);
  return Status::success;
}

/// Writes a value of a type that is no integer.
[[gnu::noinline]] Status writeOther(const void *value, char *buffer, uint32_t size, Kind kind)
{
  switch (kind) {
    case Kind::boolean:
      return writeText(buffer, load<SMBool>(value) == 1 ? "true" : "false");
    case Kind::real:
      (void)DoubleToASCII(buffer, size, load<double>(value));  // a number that is too long is cut
      return Status::success;
    case Kind::language:
      return writeText(buffer, GetLocaleNameFromLangID(load<uint32_t>(value)));
    case Kind::time:
      return qv::text::formTime(load<int32_t>(value), buffer) ? Status::success : Status::unsuccessful;
    case Kind::signedInteger:
    case Kind::unsignedInteger:
    case Kind::binary:
      break;
  }
  return Status::badArgument;
}

/// Writes a value whose buffer has the type's least size.
Status writeValue(const void *value, char *buffer, uint32_t size, const Type &type)
{
  if (type.kind == Kind::signedInteger) {
    return writeSigned(buffer, value, type.width);
  }
  if (type.kind == Kind::unsignedInteger) {
    return writeUnsigned(buffer, value, type.width);
  }
  return writeOther(value, buffer, size, type.kind);
}

[[gnu::noinline]] Status writeDump(const void *bytes, uint32_t count, char *buffer, uint32_t *size)
{
  const qv::HeapBlock<char> dump(BufToUTF8Str(bytes, &count, 0));
  if (dump == nullptr) {
    return Status::unsuccessful;
  }
  if (!qv::exchangeSize(*size, count)) {
    return Status::bufferTooSmall;
  }
  if (buffer == nullptr) {
    return Status::invalidParameter;
  }
  memcpy(buffer, dump.get(), count);
  return Status::success;
}

}  // namespace

uint32_t XLTUTF8ToTypeValue(const char *text, void *value, uint32_t *size, uint32_t type, uint32_t radix)
{
  if (text == nullptr || size == nullptr || (value == nullptr && *size != 0)) {
    return qv::result(Status::invalidParameter);
  }
  if (type > SM_TYPE_LANGID) {
    return qv::result(Status::badArgument);
  }
  const Type &read = kTypes[type];
  Bits bits;
  const Status status = readValue(text, read, radix, bits);
  if (status != Status::success || value == nullptr) {
    return qv::result(status);
  }
  if (*size < read.width) {
    *size = read.width;
    return qv::result(Status::bufferTooSmall);
  }
  store(value, bits, read.width);
  return qv::result(Status::success);
}

uint32_t XLTTypeValueToUTF8(const void *value, uint32_t valueSize, char *buffer, uint32_t *size, uint32_t type)
{
  if (value == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (type > SM_TYPE_BINARY) {
    return qv::result(Status::badArgument);
  }
  if (type == SM_TYPE_BINARY) {
    return qv::result(writeDump(value, valueSize, buffer, size));
  }
  const Type &written = kTypes[type];
  if (*size < written.textSize) {
    *size = written.textSize;
    return qv::result(Status::bufferTooSmall);
  }
  if (buffer == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  return qv::result(writeValue(value, buffer, *size, written));
}

QV_ALIAS(SMXLTUTF8ToTypeValue, XLTUTF8ToTypeValue)
QV_ALIAS(SMXLTTypeValueToUTF8, XLTTypeValueToUTF8)
