// The two dynamic strings. The caller sees how they grow (strBufSize), so the growth rule is a contract.
//
// Promises: an append that fails leaves the record, its text and its size as they were; text is converted straight into
// the buffer; sizes are computed in 64 bits.

#include "text/convert/dynamic_string.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/alias.h"
#include "base/block.h"
#include "base/heap.h"
#include "base/status.h"
#include "base/text.h"

namespace {

namespace text = qv::text;

template <class Record>
using Unit = std::remove_pointer_t<decltype(Record::pStr)>;

/// The size that a buffer grows to.
uint32_t grownSize(uint32_t size, uint32_t needed)
{
  constexpr uint32_t kDoubledUpTo = 0xFFFFF;
  const uint64_t grown = size <= kDoubledUpTo ? uint64_t{size} * 2 : uint64_t{size} * 125 / 100;
  return static_cast<uint32_t>(std::clamp<uint64_t>(grown, needed, std::numeric_limits<uint32_t>::max()));
}

template <class Record>
Unit<Record> *alloc(Record *record, uint32_t initialSize)
{
  if (record == nullptr || initialSize == 0) {
    return nullptr;
  }
  // One byte is less than a terminator of UCS-2 needs.
  const size_t size = std::max<size_t>(initialSize, sizeof(Unit<Record>));
  record->pStr = static_cast<Unit<Record> *>(malloc(size));
  if (record->pStr == nullptr) {
    return nullptr;
  }
  record->pStr[0] = 0;
  record->strBufSize = initialSize;
  record->strLen = 0;
  return record->pStr;
}

template <class Record>
void release(Record *record)
{
  if (record == nullptr) {
    return;
  }
  free(record->pStr);
  *record = {};
}

/// Makes room for `length` units more, in a new buffer when the old one is too small; the old one comes back through
/// `outgrown`, since the text to append may stand in it.
template <class Record>
Unit<Record> *makeRoomIn(Record &record, size_t length, qv::HeapBlock<Unit<Record>> &outgrown)
{
  if (record.pStr == nullptr) {
    return nullptr;
  }
  const uint64_t needed = (uint64_t{record.strLen} + length + 1) * sizeof(Unit<Record>);
  if (needed > record.strBufSize) {
    if (needed > std::numeric_limits<uint32_t>::max()) {
      return nullptr;
    }
    const uint32_t size = grownSize(record.strBufSize, static_cast<uint32_t>(needed));
    auto *grown = static_cast<Unit<Record> *>(malloc(size));
    if (grown == nullptr) {
      return nullptr;
    }
    memcpy(grown, record.pStr, (size_t{record.strLen} + 1) * sizeof(Unit<Record>));
    outgrown.reset(record.pStr);
    record.pStr = grown;
    record.strBufSize = size;
  }
  return record.pStr + record.strLen;
}

/// The bytes after the text, its terminator's included.
template <class Record>
uint32_t roomIn(const Record &record)
{
  return record.strBufSize - record.strLen * uint32_t{sizeof(Unit<Record>)};
}

template <class Record>
Unit<Record> *append(Record *record, const Unit<Record> *added)
{
  if (record == nullptr) {
    return nullptr;
  }
  if (record->pStr == nullptr || added == nullptr) {
    return record->pStr;
  }
  const size_t length = text::lengthUpTo(added);
  if (length < roomIn(*record) / sizeof(Unit<Record>)) {
    qv::copyShort(record->pStr + record->strLen, added, length * sizeof(Unit<Record>));
    text::addWritten(*record, length);
    return record->pStr;
  }
  qv::HeapBlock<Unit<Record>> outgrown;
  if (Unit<Record> *end = makeRoomIn(*record, length, outgrown); end != nullptr) {
    qv::copyShort(end, added, length * sizeof(Unit<Record>));
    text::addWritten(*record, length);
  }
  return record->pStr;
}

template <class Record, class From>
using Conversion = uint32_t (*)(Unit<Record> *, uint32_t *, const From *);

/// Appends text of the other encoding: into the room that there is, or else measured first. The record changes only
/// when all of the text is valid.
template <class Record, class From>
void convertBehind(Record &record, const From *added, Conversion<Record, From> convert)
{
  uint32_t size = roomIn(record);
  const uint32_t status = convert(record.pStr + record.strLen, &size, added);
  if (status == SM_STATUS_SUCCESS) {
    text::addWritten(record, size / sizeof(Unit<Record>) - 1);
    return;
  }
  record.pStr[record.strLen] = 0;
  if (status != SM_STATUS_BUFFER_TOO_SMALL || convert(nullptr, &size, added) != SM_STATUS_SUCCESS) {
    return;
  }
  const size_t length = size / sizeof(Unit<Record>) - 1;
  qv::HeapBlock<Unit<Record>> outgrown;
  if (Unit<Record> *end = makeRoomIn(record, length, outgrown); end != nullptr) {
    (void)convert(end, &size, added);  // it was measured, so it is valid and fits
    text::addWritten(record, length);
  }
}

template <class Record, class From>
Unit<Record> *appendConverted(Record *record, const From *added, Conversion<Record, From> convert)
{
  if (record == nullptr) {
    return nullptr;
  }
  if (record->pStr != nullptr && added != nullptr) {
    convertBehind(*record, added, convert);
  }
  return record->pStr;
}

}  // namespace

namespace qv::text {

char *makeRoom(SSUTF8Str &record, size_t length)
{
  HeapBlock<char> outgrown;
  return makeRoomIn(record, length, outgrown);
}

}  // namespace qv::text

SMChar16 *SSUCS2StrAlloc(SSUCS2Str *record, uint32_t initialSize)
{
  return alloc(record, initialSize);
}

char *SSUTF8StrAlloc(SSUTF8Str *record, uint32_t initialSize)
{
  return alloc(record, initialSize);
}

SMChar16 *SSUCS2StrCatUCS2Str(SSUCS2Str *record, const SMChar16 *text)
{
  return append(record, text);
}

SMChar16 *SSUCS2StrCatUTF8Str(SSUCS2Str *record, const char *text)
{
  return appendConverted(record, text, UTF8StrToUCS2Str);
}

char *SSUTF8StrCatUTF8Str(SSUTF8Str *record, const char *text)
{
  return append(record, text);
}

char *SSUTF8StrCatUCS2Str(SSUTF8Str *record, const SMChar16 *text)
{
  return appendConverted(record, text, UCS2StrToUTF8Str);
}

void SSUCS2StrFree(SSUCS2Str *record)
{
  release(record);
}

void SSUTF8StrFree(SSUTF8Str *record)
{
  release(record);
}

QV_ALIAS(SMSSUCS2StrAlloc, SSUCS2StrAlloc)
QV_ALIAS(SMSSUTF8StrAlloc, SSUTF8StrAlloc)
QV_ALIAS(SMSSUCS2StrCatUCS2Str, SSUCS2StrCatUCS2Str)
QV_ALIAS(SMSSUCS2StrCatUTF8Str, SSUCS2StrCatUTF8Str)
QV_ALIAS(SMSSUTF8StrCatUTF8Str, SSUTF8StrCatUTF8Str)
QV_ALIAS(SMSSUTF8StrCatUCS2Str, SSUTF8StrCatUCS2Str)
QV_ALIAS(SMSSUCS2StrFree, SSUCS2StrFree)
QV_ALIAS(SMSSUTF8StrFree, SSUTF8StrFree)
