// Reading and editing values straight inside a binary, without decoding it.
//
// Promises: a constant number of checks beside the search; nothing is read past the block's own total size. An edit that
// changes the layout decodes the binary and writes it anew.

#include "base/alias.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"
#include "sdo/decoder.h"
#include "sdo/encoder.h"

namespace qv::sdo {
namespace {

/// Decodes the binary, changes the value in the object, and writes the binary anew.
Status rebuild(const BinaryView &binary, void *buffer, uint32_t *size, uint16_t fieldID, uint8_t type,
               const void *value, uint32_t valueSize)
{
  OwnedObject object;
  if (decode(binary, object) != Status::success) {
    return Status::bufferTooSmall;
  }
  if (const Status status = add(*object, fieldID, type, value, valueSize, true); status != Status::success) {
    return status;
  }
  if (*size < object->binarySize) {
    *size = object->binarySize;
    return Status::bufferTooSmall;
  }
  return encode(*object, static_cast<uint8_t *>(buffer), *size);
}

}  // namespace
}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

int32_t SDOBinaryGetCount(const void *block)
{
  if (block == nullptr) {
    return -1;
  }
  const sdo::BlockHeader header = sdo::loadHeader(block);
  const bool isKnown = header.magic == SDO_BINARY_MAGIC || header.magic == SDO_BINARY_ARRAY_MAGIC;
  return isKnown ? header.count : -1;
}

uint32_t SDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer, uint32_t *size)
{
  if (binary == nullptr || !sdo::isValidFieldID(fieldID) || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto *bytes = static_cast<const uint8_t *>(binary);
  const auto view = sdo::BinaryView::of(bytes, sdo::loadHeader(bytes));
  if (!view) {
    return qv::result(Status::badType);
  }
  const auto found = view->find(fieldID);
  if (!found) {
    return qv::result(Status::notFound);
  }
  const auto value = view->value(found->entry, found->index);
  if (!value) {
    return qv::result(Status::badType);
  }
  const Status status = sdo::copyValueOut(value->bytes, value->size, buffer, size);
  if (status == Status::success && type != nullptr) {
    *type = found->entry.type;
  }
  return qv::result(status);
}

uint32_t SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type, void *buffer,
                                 uint32_t *size)
{
  if (binary == nullptr || fieldID == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto *bytes = static_cast<const uint8_t *>(binary);
  const sdo::BlockHeader header = sdo::loadHeader(bytes);
  if (index >= header.count) {
    return qv::result(Status::indexOutOfRange);
  }
  const auto view = sdo::BinaryView::of(bytes, header);
  if (!view) {
    return qv::result(Status::badType);
  }
  const sdo::BinaryEntry entry = view->entry(index);
  const auto value = view->value(entry, index);
  if (!value) {
    return qv::result(Status::badType);
  }
  const Status status = sdo::copyValueOut(value->bytes, value->size, buffer, size);
  if (status == Status::success) {
    *fieldID = entry.fieldID;
    if (type != nullptr) {
      *type = entry.type;
    }
  }
  return qv::result(status);
}

uint32_t SDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type, const void *value,
                          uint32_t valueSize)
{
  constexpr uint32_t kLeastSize = sdo::kHeaderSize + sdo::kEntrySize;
  if (binary == nullptr || size == nullptr || !sdo::isValidFieldID(fieldID) || type == 0 || value == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (*size < kLeastSize) {
    return qv::result(Status::bufferTooSmall);
  }
  auto *bytes = static_cast<uint8_t *>(binary);
  const auto view = sdo::BinaryView::of(bytes, sdo::loadHeader(bytes));
  if (!view) {
    return qv::result(Status::invalidParameter);
  }
  const auto found = view->find(fieldID);
  if (!found || found->entry.type != type) {
    return qv::result(Status::notFound);
  }
  const auto old = view->value(found->entry, found->index);
  if (!old) {
    return qv::result(Status::invalidParameter);
  }
  const bool outOfLine = (found->entry.flags & sdo::kOutOfLine) != 0;
  if (outOfLine ? valueSize == old->size : valueSize <= sdo::kInlineValueMax) {
    memmove(bytes + (old->bytes - bytes), value, valueSize);
    if (!outOfLine) {
      uint8_t *entry = bytes + sdo::BinaryView::offsetOf(found->index);
      entry[offsetof(sdo::BinaryEntry, flags)] = static_cast<uint8_t>((valueSize - 1) & sdo::kInlineSizeMask);
    }
    *size = view->totalSize();
    return qv::result(Status::success);
  }
  return qv::result(sdo::rebuild(*view, bytes, size, fieldID, type, value, valueSize));
}

int32_t BSOBinaryFieldIDCompare(const void *a, const void *b)
{
  return BSOCu16WalkCompare(sdo::load<uint16_t>(static_cast<const uint8_t *>(a)),
                            sdo::load<uint16_t>(static_cast<const uint8_t *>(b)));
}

QV_ALIAS(SMSDOBinaryGetCount, SDOBinaryGetCount)
QV_ALIAS(SMSDOBinaryGetDataByID, SDOBinaryGetDataByID)
QV_ALIAS(SMSDOBinaryGetDataByIndex, SDOBinaryGetDataByIndex)
QV_ALIAS(SMSDOBinarySetData, SDOBinarySetData)
