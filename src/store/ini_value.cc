// Typed values in INI files: the text of each type, the sizes that are accepted, and what a read stores if the text is
// missing or is no such value. Bytes are stored in memory order, low byte first.

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/heap.h"
#include "base/size.h"
#include "base/status.h"
#include "base/text.h"
#include "qvsupt32/store.h"
#include "qvsupt32/value.h"
#include "store/ini_text.h"
#include "text/format/double_digits.h"
#include "text/value/number_scan.h"

const char *pStrTRUE = "TRUE";
const char *pStrFALSE = "FALSE";

namespace {

using qv::IniPlace;
using qv::Status;

/// Where a caller wants a value, and its default.
struct Request {
  void *value;
  uint32_t *size;
  const void *defaultValue;
  uint32_t defaultSize;
};

template <class T>
T load(const void *from)
{
  T value;
  memcpy(&value, from, sizeof(value));
  return value;
}

template <class T>
void put(void *to, T value)
{
  memcpy(to, &value, sizeof(value));
}

/// The text of a key, in memory that is freed by scope.
struct StoredText {
  explicit StoredText(uint32_t capacity) : block(static_cast<char *>(malloc(capacity))), size(capacity) {}

  Status read(const IniPlace &place)
  {
    return block != nullptr ? qv::readIniText(place, block.get(), &size, nullptr, 0) : Status::unsuccessful;
  }

  qv::HeapBlock<char> block;
  uint32_t size;
};

/// Writes a text; null removes the key.
Status writeOrRemove(const IniPlace &place, const char *text)
{
  if (text == nullptr) {
    return qv::writeIniText(place, nullptr, 0);
  }
  return qv::writeIniText(place, text, qv::clampSize(uint64_t{strlen(text)} + 1));
}

bool isComplete(const IniPlace &place)
{
  return place.section != nullptr && place.key != nullptr && place.path != nullptr;
}

bool isComplete(const Request &request, const IniPlace &place, uint32_t leastSize)
{
  return isComplete(place) && request.value != nullptr && request.size != nullptr && *request.size >= leastSize;
}

// Values of fixed width -----------------------------------------------------------------------------------------------

constexpr size_t kNumberSize = 352;  // the longest: 309 digits of the largest double, its sign, "." and eight decimals

struct ScalarType {
  uint32_t width;
  /// False if the text is no such value.
  bool (*read)(const char *text, void *value);
  /// Fills a buffer of kNumberSize bytes.
  void (*write)(const void *value, char *text);
};

bool readBoolean(const char *text, void *value)
{
  while (*text == ' ') {
    ++text;
  }
  const size_t length = strcspn(text, " ");
  const auto isWord = [=](const char *word) { return strlen(word) == length && strncasecmp(text, word, length) == 0; };
  const bool isTrue = isWord(pStrTRUE);
  if (!isTrue && !isWord(pStrFALSE)) {
    return false;
  }
  put<SMBool>(value, isTrue ? 1 : 0);
  return true;
}

void writeBoolean(const void *value, char *text)
{
  (void)snprintf(text, kNumberSize, "%s", load<SMBool>(value) == 1 ? pStrTRUE : pStrFALSE);
}

/// As scanf(3) reads "%lu" and "%ld" where long has 32 bits.
uint32_t readU32(const char *text)
{
  return qv::readDecimal(text, qv::toUnsigned32);
}

int32_t readS32(const char *text)
{
  return qv::readDecimal(text, qv::toSigned32);
}

/// A reader that takes every text: one without a number is 0.
template <class T, T (*convert)(const char *)>
bool readNumber(const char *text, void *value)
{
  put<T>(value, convert(text));
  return true;
}

template <class T>
void writeInteger(const void *value, char *text)
{
  *std::to_chars(text, text + kNumberSize - 1, load<T>(value)).ptr = '\0';
}

void writeDouble(const void *value, char *text)
{
  constexpr int kDecimals = 8;
  const auto number = load<double>(value);
  if (std::signbit(number)) {
    *text++ = '-';
  }
  if (!std::isfinite(number)) {
    memcpy(text, std::isnan(number) ? "nan" : "inf", 4);
    return;
  }
  *qv::text::writeFixed(text, std::fabs(number), kDecimals) = '\0';
}

constexpr ScalarType kBoolean = {2, readBoolean, writeBoolean};
constexpr ScalarType kU32 = {4, readNumber<uint32_t, readU32>, writeInteger<uint32_t>};
constexpr ScalarType kS32 = {4, readNumber<int32_t, readS32>, writeInteger<int32_t>};
constexpr ScalarType kU64 = {8, readNumber<uint64_t, ASCIIToUnSigned64>, writeInteger<uint64_t>};
constexpr ScalarType kS64 = {8, readNumber<int64_t, ASCIIToSigned64>, writeInteger<int64_t>};
constexpr ScalarType kD64 = {8, readNumber<double, ASCIIToDouble>, writeDouble};

Status readStored(const ScalarType &type, const Request &request, const IniPlace &place)
{
  constexpr uint32_t kTextSize = 8193;
  StoredText text(kTextSize);
  const Status status = text.read(place);
  if (status != Status::success) {
    return status;
  }
  return type.read(text.block.get(), request.value) ? Status::success : Status::badDataSize;
}

/// Stores a part of the default, if that has at least the width of the type.
void applyDefault(const Request &request, uint32_t leastSize, uint32_t size)
{
  const bool hasDefault = request.defaultValue != nullptr && request.defaultSize >= leastSize;
  *request.size = hasDefault ? size : 0;
  if (hasDefault) {
    memmove(request.value, request.defaultValue, size);  // the default may be in the caller's buffer
  }
}

Status readScalar(const ScalarType &type, const Request &request, const IniPlace &place)
{
  if (!isComplete(request, place, type.width)) {
    return Status::badArgument;
  }
  const Status status = readStored(type, request, place);
  if (status != Status::success) {
    applyDefault(request, type.width, type.width);
  }
  return status;
}

Status writeScalar(const ScalarType &type, const void *value, uint32_t size, const IniPlace &place)
{
  if (!isComplete(place)) {
    return Status::badArgument;
  }
  if (value == nullptr) {
    return size == 0 ? writeOrRemove(place, nullptr) : Status::badDataSize;
  }
  if (size < type.width) {
    return Status::badDataSize;
  }
  char text[kNumberSize];
  type.write(value, text);
  return writeOrRemove(place, text);
}

// Byte strings --------------------------------------------------------------------------------------------------------

constexpr uint32_t kByteText = sizeof("0x00,") - 1;
constexpr uint32_t kLargestText = 8192;
constexpr uint32_t kLargestBytes = (kLargestText + 1) / kByteText;  // the last byte has no comma
static_assert(kLargestBytes == 1638);

/// Reads a number as scanf(3) reads "%x" where long has 32 bits. False if there is none.
bool readHex(const char *text, uint32_t &number)
{
  const qv::Sign sign = qv::readSign(qv::skipSpace(text));
  const char *digits = sign.digits;
  if (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits += 2;
  } else if (qv::digitValue<16>(digits[0]) >= 16) {
    return false;
  }
  number = qv::toUnsigned32(sign.negative, qv::readDigits<16, uint32_t>(digits));
  return true;
}

/// Reads a list of hexadecimal numbers, up to the first piece that is none. Bytes that do not fit are only counted.
Status parseByteList(const char *text, void *bytes, uint32_t &size)
{
  const uint32_t capacity = size;
  uint32_t count = 0;
  for (;;) {
    text += strspn(text, ",");
    uint32_t number;
    if (*text == '\0' || !readHex(text, number)) {
      break;
    }
    if (static_cast<int32_t>(number) > 255) {
      return Status::badDataSize;
    }
    if (count < capacity) {
      static_cast<unsigned char *>(bytes)[count] = static_cast<unsigned char>(number);
    }
    ++count;
    text += strcspn(text, ",");
  }
  size = count;
  return count <= capacity ? Status::success : Status::bufferTooSmall;
}

Status readStoredBytes(const Request &request, const IniPlace &place)
{
  constexpr uint32_t kTextSize = 8451;
  StoredText text(kTextSize);
  const Status status = text.read(place);
  return status == Status::success ? parseByteList(text.block.get(), request.value, *request.size) : status;
}

Status readBytes(const Request &request, const IniPlace &place)
{
  if (!isComplete(request, place, 1)) {
    return Status::badArgument;
  }
  const uint32_t capacity = *request.size;
  const Status status = readStoredBytes(request, place);
  if (status != Status::success && status != Status::bufferTooSmall) {
    applyDefault(request, 1, std::min(request.defaultSize, capacity));
  }
  return status;
}

/// The bytes as a list of hexadecimal numbers; null if there is no memory.
qv::HeapBlock<char> formatByteList(const void *bytes, uint32_t size)
{
  qv::HeapBlock<char> text(static_cast<char *>(malloc(size * kByteText)));
  if (text == nullptr) {
    return text;
  }
  char *end = text.get();
  for (uint32_t i = 0; i < size; ++i) {
    const auto byte = static_cast<const unsigned char *>(bytes)[i];
    *end++ = '0';
    *end++ = 'x';
    *end++ = qv::kUpperHexDigits[byte >> 4];
    *end++ = qv::kUpperHexDigits[byte & 15];
    *end++ = ',';
  }
  end[-1] = '\0';
  return text;
}

Status writeBytes(const void *value, uint32_t size, const IniPlace &place)
{
  if (!isComplete(place)) {
    return Status::badArgument;
  }
  if (value == nullptr) {
    return size == 0 ? writeOrRemove(place, nullptr) : Status::badDataSize;
  }
  if (size < 1 || size > kLargestBytes) {
    return Status::badDataSize;
  }
  const qv::HeapBlock<char> text = formatByteList(value, size);
  return text != nullptr ? writeOrRemove(place, text.get()) : Status::unsuccessful;
}

/// Whether a size is that of the UCS-2 text that it is given for, terminator included.
bool isSizeOfText(const void *text, uint32_t size)
{
  for (uint32_t at = 0; size - at >= sizeof(SMChar16); at += sizeof(SMChar16)) {
    if (load<SMChar16>(static_cast<const char *>(text) + at) == 0) {
      return at + sizeof(SMChar16) == size;
    }
  }
  return false;
}

}  // namespace

uint32_t ReadINIFileValue_astring(const char *section, const char *key, char *buffer, uint32_t *size,
                                  const char *defaultText, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(qv::readIniText({section, key, path, lockMode}, buffer, size, defaultText, defaultSize));
}

uint32_t ReadINIFileValue_binary(const char *section, const char *key, void *value, uint32_t *size,
                                 const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readBytes({value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_ustring(const char *section, const char *key, void *value, uint32_t *size,
                                  const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  if (defaultValue != nullptr && !isSizeOfText(defaultValue, defaultSize)) {
    return result(Status::badArgument);
  }
  return result(readBytes({value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_booln(const char *section, const char *key, void *value, uint32_t *size,
                                const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kBoolean, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_u32(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kU32, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_s32(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kS32, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_u64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kU64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_s64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kS64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t ReadINIFileValue_d64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return result(readScalar(kD64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_astring(const char *section, const char *key, const char *value, uint32_t valueSize,
                                   const char *path, int16_t lockMode)
{
  return result(qv::writeIniText({section, key, path, lockMode}, value, valueSize));
}

uint32_t WriteINIFileValue_binary(const char *section, const char *key, const void *value, uint32_t size,
                                  const char *path, int16_t lockMode)
{
  return result(writeBytes(value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_ustring(const char *section, const char *key, const void *value, uint32_t size,
                                   const char *path, int16_t lockMode)
{
  const IniPlace place = {section, key, path, lockMode};
  if (isComplete(place) && value != nullptr && !isSizeOfText(value, size)) {
    return result(Status::badDataSize);
  }
  return result(writeBytes(value, size, place));
}

uint32_t WriteINIFileValue_booln(const char *section, const char *key, const void *value, uint32_t size,
                                 const char *path, int16_t lockMode)
{
  return result(writeScalar(kBoolean, value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_u32(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return result(writeScalar(kU32, value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_s32(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return result(writeScalar(kS32, value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_u64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return result(writeScalar(kU64, value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_s64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return result(writeScalar(kS64, value, size, {section, key, path, lockMode}));
}

uint32_t WriteINIFileValue_d64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return result(writeScalar(kD64, value, size, {section, key, path, lockMode}));
}
