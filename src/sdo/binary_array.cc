// Building and reading binary arrays, in place.

#include "base/alias.h"
#include "sdo/binary_layout.h"

using qv::Status;
namespace sdo = qv::sdo;

uint32_t SDOBinaryArrayInitHeader(void *buffer, uint32_t size)
{
  if (buffer == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (size < sdo::kHeaderSize) {
    return qv::result(Status::bufferTooSmall);
  }
  sdo::store(static_cast<uint8_t *>(buffer), sdo::BlockHeader{SDO_BINARY_ARRAY_MAGIC, 0, sdo::kHeaderSize});
  return qv::result(Status::success);
}

uint32_t SDOBinaryArrayAddData(void *array, uint32_t *size, const void *element, uint32_t elementSize)
{
  constexpr uint32_t kLeastSize = sdo::kHeaderSize + sdo::kEntrySize;
  if (array == nullptr || size == nullptr || element == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (*size < kLeastSize) {
    return qv::result(Status::bufferTooSmall);
  }
  auto *bytes = static_cast<uint8_t *>(array);
  const auto view = sdo::BinaryArrayView::of(bytes, sdo::loadHeader(bytes));
  const auto end = view ? view->startAfter(view->count()) : std::nullopt;
  if (!end) {
    return qv::result(Status::invalidParameter);
  }
  const uint64_t total = uint64_t{*end} + elementSize;
  if (total > *size) {
    *size = qv::clampSize(total);
    return qv::result(Status::bufferTooSmall);
  }
  if (total > SDO_BINARY_SIZE_MAX) {
    return qv::result(Status::bufferTooSmall);
  }
  memmove(bytes + *end, element, elementSize);
  sdo::store(bytes, sdo::BlockHeader{SDO_BINARY_ARRAY_MAGIC, static_cast<uint16_t>(view->count() + 1),
                                     static_cast<uint16_t>(total)});
  return qv::result(Status::success);
}

uint32_t SDOBinaryArrayGetByIndex(const void *array, uint32_t, uint32_t index, void *buffer, uint32_t *size)
{
  if (array == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto *bytes = static_cast<const uint8_t *>(array);
  const sdo::BlockHeader header = sdo::loadHeader(bytes);
  if (header.magic != SDO_BINARY_ARRAY_MAGIC) {
    return qv::result(Status::badType);
  }
  if (index >= header.count) {
    return qv::result(Status::notFound);
  }
  const auto view = sdo::BinaryArrayView::of(bytes, header);
  const auto position = view ? view->startAfter(index) : std::nullopt;
  const auto element = position ? view->elementAt(*position) : std::nullopt;
  if (!element) {
    return qv::result(Status::badType);
  }
  return qv::result(sdo::copyValueOut(element->block(), element->totalSize(), buffer, size));
}

QV_ALIAS(SMSDOBinaryArrayInitHeader, SDOBinaryArrayInitHeader)
QV_ALIAS(SMSDOBinaryArrayAddData, SDOBinaryArrayAddData)
QV_ALIAS(SMSDOBinaryArrayGetByIndex, SDOBinaryArrayGetByIndex)
