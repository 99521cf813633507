// Reading and editing values straight inside a binary, without decoding it.
//
// Promises: a constant number of checks beside the search; nothing is read past the block's own total size.

#include "base/alias.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"

namespace qv::sdo {
namespace {

/// Decodes the binary, changes the value in the object, and writes the binary anew.
Status rebuild(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type, const void *value, uint32_t valueSize)
{
  constexpr int16_t kReplace = 1;
  const OwnedObject object(SDOBinaryToConfig(binary));
  if (object == nullptr) {
    return Status::bufferTooSmall;
  }
  const uint32_t added = SDOConfigAddData(object.get(), fieldID, type, value, valueSize, kReplace);
  if (added != SM_STATUS_SUCCESS) {
    return static_cast<Status>(added);
  }
  if (*size < object->binarySize) {
    *size = object->binarySize;
    return Status::bufferTooSmall;
  }
  return static_cast<Status>(SDOConfigToBinary(object.get(), binary, size));
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
  const auto header = sdo::load<sdo::BlockHeader>(static_cast<const uint8_t *>(block));
  const bool isKnown = header.magic == SDO_BINARY_MAGIC || header.magic == SDO_BINARY_ARRAY_MAGIC;
  return isKnown ? header.count : -1;
}

uint32_t SDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer, uint32_t *size)
{
  if (binary == nullptr || !sdo::isValidFieldID(fieldID) || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto view = sdo::BinaryView::open(binary);
  if (!view) {
    return qv::result(Status::badType);
  }
  const auto index = view->find(fieldID);
  if (!index) {
    return qv::result(Status::notFound);
  }
  const auto value = view->value(*index);
  if (!value) {
    return qv::result(Status::badType);
  }
  const Status status = sdo::copyOut(value->bytes, value->size, buffer, size);
  if (status == Status::success && type != nullptr) {
    *type = value->type;
  }
  return qv::result(status);
}

uint32_t SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type, void *buffer,
                                 uint32_t *size)
{
  if (binary == nullptr || fieldID == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (index >= sdo::load<sdo::BlockHeader>(static_cast<const uint8_t *>(binary)).count) {
    return qv::result(Status::indexOutOfRange);
  }
  const auto view = sdo::BinaryView::open(binary);
  const auto value = view ? view->value(index) : std::nullopt;
  if (!value) {
    return qv::result(Status::badType);
  }
  const Status status = sdo::copyOut(value->bytes, value->size, buffer, size);
  if (status == Status::success) {
    *fieldID = view->entry(index).fieldID;
    if (type != nullptr) {
      *type = value->type;
    }
  }
  return qv::result(status);
}

uint32_t SDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type, const void *value,
                          uint32_t valueSize)
{
  constexpr uint32_t kLeastSize = sdo::kHeaderSize + sdo::kEntrySize;
  if (binary == nullptr || size == nullptr || !sdo::isValidFieldID(fieldID) || type == 0 || value == nullptr ||
      valueSize == 0) {
    return qv::result(Status::invalidParameter);
  }
  if (*size < kLeastSize) {
    return qv::result(Status::bufferTooSmall);
  }
  const auto view = sdo::BinaryView::open(binary);
  if (!view) {
    return qv::result(Status::invalidParameter);
  }
  const auto index = view->find(fieldID);
  if (!index || view->entry(*index).type != type) {
    return qv::result(Status::notFound);
  }
  const auto old = view->value(*index);
  if (!old) {
    return qv::result(Status::invalidParameter);
  }
  uint8_t *entry = static_cast<uint8_t *>(binary) + (view->entryAddress(*index) - view->block());
  const bool outOfLine = (view->entry(*index).flags & sdo::kOutOfLine) != 0;
  if (outOfLine ? valueSize == old->size : valueSize <= sdo::kInlineValueMax) {
    memmove(entry + (old->bytes - view->entryAddress(*index)), value, valueSize);
    if (!outOfLine) {
      entry[offsetof(sdo::BinaryEntry, flags)] = static_cast<uint8_t>((valueSize - 1) & sdo::kInlineSizeMask);
    }
    *size = view->totalSize();
    return qv::result(Status::success);
  }
  return qv::result(sdo::rebuild(binary, size, fieldID, type, value, valueSize));
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
