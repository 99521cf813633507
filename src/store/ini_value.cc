// Typed values in INI files: what each type looks like as text, which sizes it takes, and what a read answers when the
// text does not do. Bytes come and go as they stand in memory, low byte first.

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/heap.h"
#include "base/status.h"
#include "qvsupt32/store.h"
#include "qvsupt32/value.h"
#include "text/format/double_digits.h"
#include "text/value/number_scan.h"

const char *pStrTRUE = "TRUE";
const char *pStrFALSE = "FALSE";

namespace {

using qv::Status;

/// Where a value is stored.
struct Place {
  const char *section;
  const char *key;
  const char *path;
  int16_t lockMode;
};

/// What a caller wants to read, and what it wants where that fails.
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
void store(void *to, T value)
{
  memcpy(to, &value, sizeof(value));
}

/// The text of a key, in memory that is freed by scope.
struct StoredText {
  explicit StoredText(uint32_t room) : block(static_cast<char *>(malloc(room))), size(room) {}

  Status read(const Place &place)
  {
    if (block == nullptr) {
      return Status::unsuccessful;
    }
    return static_cast<Status>(
        ReadINIFileValue_astring(place.section, place.key, block.get(), &size, nullptr, 0, place.path, place.lockMode));
  }

  qv::HeapBlock<char> block;
  uint32_t size;
};

/// Writes a text, of which there is none when the key is to be removed.
Status writeText(const Place &place, const char *text)
{
  const uint32_t size = text == nullptr ? 0 : static_cast<uint32_t>(strlen(text)) + 1;
  return static_cast<Status>(
      WriteINIFileValue_astring(place.section, place.key, text, size, place.path, place.lockMode));
}

bool isComplete(const Place &place)
{
  return place.section != nullptr && place.key != nullptr && place.path != nullptr;
}

bool isComplete(const Request &request, const Place &place, uint32_t leastSize)
{
  return isComplete(place) && request.value != nullptr && request.size != nullptr && *request.size >= leastSize;
}

/// Values of a fixed width
/// ---------------------------------------------------------------------------------------------

constexpr size_t kNumberRoom = 352;  // the longest: 309 digits of the largest double, its sign, "." and eight decimals

struct ScalarType {
  uint32_t width;
  /// False when the text is no such value.
  bool (*read)(const char *text, void *value);
  /// Fills a buffer of kNumberRoom bytes.
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
  store<SMBool>(value, isTrue ? 1 : 0);
  return true;
}

void writeBoolean(const void *value, char *text)
{
  (void)snprintf(text, kNumberRoom, "%s", load<SMBool>(value) == 1 ? pStrTRUE : pStrFALSE);
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
  store<T>(value, convert(text));
  return true;
}

template <class T>
void writeInteger(const void *value, char *text)
{
  *std::to_chars(text, text + kNumberRoom - 1, load<T>(value)).ptr = '\0';
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

Status readStored(const ScalarType &type, const Request &request, const Place &place)
{
  constexpr uint32_t kTextRoom = 8193;
  StoredText text(kTextRoom);
  const Status status = text.read(place);
  if (status != Status::success) {
    return status;
  }
  return type.read(text.block.get(), request.value) ? Status::success : Status::badDataSize;
}

uint32_t readScalar(const ScalarType &type, const Request &request, const Place &place)
{
  if (!isComplete(request, place, type.width)) {
    return result(Status::badArgument);
  }
  const Status status = readStored(type, request, place);
  if (status == Status::success) {
    return result(status);
  }
  const bool hasDefault = request.defaultValue != nullptr && request.defaultSize >= type.width;
  if (hasDefault) {
    memmove(request.value, request.defaultValue, type.width);
  }
  *request.size = hasDefault ? type.width : 0;
  return result(status);
}

uint32_t writeScalar(const ScalarType &type, const void *value, uint32_t size, const Place &place)
{
  if (!isComplete(place)) {
    return result(Status::badArgument);
  }
  if (value == nullptr) {
    return result(size == 0 ? writeText(place, nullptr) : Status::badDataSize);
  }
  if (size < type.width) {
    return result(Status::badDataSize);
  }
  char text[kNumberRoom];
  type.write(value, text);
  return result(writeText(place, text));
}

/// Byte strings
/// -----------------------------------------------------------------------------------------------------------

constexpr char kDigits[] = "0123456789ABCDEF";
constexpr uint32_t kByteText = sizeof("0x00,") - 1;
constexpr uint32_t kLargestText = 8192;
constexpr uint32_t kLargestBytes = (kLargestText + 1) / kByteText;  // the last byte has no comma
static_assert(kLargestBytes == 1638);

/// Reads a number as scanf(3) reads "%x" where long has 32 bits. False when there is none.
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

/// Takes the bytes out of a list of hexadecimal numbers, up to the first piece that is none. What does not fit is
/// counted only.
Status parseBytes(const char *text, void *bytes, uint32_t &size)
{
  const uint32_t room = size;
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
    if (count < room) {
      static_cast<unsigned char *>(bytes)[count] = static_cast<unsigned char>(number);
    }
    ++count;
    text += strcspn(text, ",");
  }
  size = count;
  return count <= room ? Status::success : Status::bufferTooSmall;
}

Status readStoredBytes(const Request &request, const Place &place)
{
  constexpr uint32_t kTextRoom = 8451;
  StoredText text(kTextRoom);
  const Status status = text.read(place);
  return status == Status::success ? parseBytes(text.block.get(), request.value, *request.size) : status;
}

uint32_t readBytes(const Request &request, const Place &place)
{
  if (!isComplete(request, place, 1)) {
    return result(Status::badArgument);
  }
  const uint32_t room = *request.size;
  const Status status = readStoredBytes(request, place);
  if (status == Status::success || status == Status::bufferTooSmall) {
    return result(status);
  }
  const bool hasDefault = request.defaultValue != nullptr && request.defaultSize >= 1;
  *request.size = hasDefault ? std::min(request.defaultSize, room) : 0;
  if (hasDefault) {
    memmove(request.value, request.defaultValue, *request.size);
  }
  return result(status);
}

/// The bytes as a list of hexadecimal numbers; null when there is no memory.
qv::HeapBlock<char> formatBytes(const void *bytes, uint32_t size)
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
    *end++ = kDigits[byte >> 4];
    *end++ = kDigits[byte & 15];
    *end++ = ',';
  }
  end[-1] = '\0';
  return text;
}

uint32_t writeBytes(const void *value, uint32_t size, const Place &place)
{
  if (!isComplete(place)) {
    return result(Status::badArgument);
  }
  if (value == nullptr) {
    return result(size == 0 ? writeText(place, nullptr) : Status::badDataSize);
  }
  if (size < 1 || size > kLargestBytes) {
    return result(Status::badDataSize);
  }
  const qv::HeapBlock<char> text = formatBytes(value, size);
  return result(text != nullptr ? writeText(place, text.get()) : Status::unsuccessful);
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

uint32_t ReadINIFileValue_binary(const char *section, const char *key, void *value, uint32_t *size,
                                 const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readBytes({value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_ustring(const char *section, const char *key, void *value, uint32_t *size,
                                  const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  if (defaultValue != nullptr && !isSizeOfText(defaultValue, defaultSize)) {
    return result(Status::badArgument);
  }
  return readBytes({value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_booln(const char *section, const char *key, void *value, uint32_t *size,
                                const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kBoolean, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_u32(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kU32, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_s32(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kS32, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_u64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kU64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_s64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kS64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t ReadINIFileValue_d64(const char *section, const char *key, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return readScalar(kD64, {value, size, defaultValue, defaultSize}, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_binary(const char *section, const char *key, const void *value, uint32_t size,
                                  const char *path, int16_t lockMode)
{
  return writeBytes(value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_ustring(const char *section, const char *key, const void *value, uint32_t size,
                                   const char *path, int16_t lockMode)
{
  const Place place = {section, key, path, lockMode};
  if (isComplete(place) && value != nullptr && !isSizeOfText(value, size)) {
    return result(Status::badDataSize);
  }
  return writeBytes(value, size, place);
}

uint32_t WriteINIFileValue_booln(const char *section, const char *key, const void *value, uint32_t size,
                                 const char *path, int16_t lockMode)
{
  return writeScalar(kBoolean, value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_u32(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return writeScalar(kU32, value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_s32(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return writeScalar(kS32, value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_u64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return writeScalar(kU64, value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_s64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return writeScalar(kS64, value, size, {section, key, path, lockMode});
}

uint32_t WriteINIFileValue_d64(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                               int16_t lockMode)
{
  return writeScalar(kD64, value, size, {section, key, path, lockMode});
}
