// Objects to binary form, in place.
//
// Promises: every nested object is written straight to where it belongs, each byte once, with neither heap nor
// recursion; and nothing is written outside the space that the sizes at hand allow, also when a nested object was
// changed behind its parent's back.
//
// How: the size of each nested object is known before it is written. Its space is reserved and a note of it is kept in
// that very space, which is filled later, when the object that holds it is complete.

#include <algorithm>
#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"

namespace {

using qv::Status;
namespace sdo = qv::sdo;
namespace tree = qv::tree;
using sdo::BlockHeader;

/// Stands at the start of a reserved space until it is filled.
struct Reservation {
  const SDOConfig *object;
  uint8_t *next;  // the reservation made before this one
};

/// The 1 to 4 bytes of an inline value, zeros behind them. Most are numbers of exactly 4, which need no loop.
inline uint32_t loadInline(const uint8_t *value, uint32_t size)
{
  if (size == sizeof(uint32_t)) {
    return sdo::load<uint32_t>(value);
  }
  uint32_t bytes = 0;
  for (uint32_t i = size; i > 0; --i) {
    bytes = bytes << 8 | value[i - 1];
  }
  return bytes;
}

class Encoder {
 public:
  /// Writes the object and all that is nested in it into its binary size of bytes at `start`. False when the sizes do
  /// not agree.
  [[nodiscard]] bool encode(const SDOConfig &object, uint8_t *start)
  {
    return writeObject(object, start) && fillReservations();
  }

  /// Writes one entry at the generator's positions and moves them on; for its value there is `room`. What is nested in
  /// it is only reserved.
  [[nodiscard]] bool writeEntry(SDOBinaryGenerator &at, size_t room, const SDOConfigEntry *entry)
  {
    const uint8_t *value = sdo::valueOf(entry);
    const bool nested = sdo::holdsObjects(entry->type);
    if (!nested && entry->dataSize <= sdo::kInlineValueMax) {
      const uint32_t flags = (entry->dataSize - 1) & sdo::kInlineSizeMask;
      storeEntry(at, entry->fieldID, entry->type, flags, loadInline(value, entry->dataSize));
      return true;
    }
    const uint32_t size =
        nested ? CalcDataBinSizeByType(entry->type, value, entry->dataSize, nullptr) : entry->dataSize;
    const auto position = static_cast<size_t>(at.nextValue - at.nextEntry);
    if (size > room || size > UINT16_MAX || position > UINT16_MAX) {
      return false;
    }
    uint8_t type = entry->type;
    if (nested) {
      type = sdo::withLowBits(type, SDO_TYPE_BINARY);
      if (!reserveNested(at.nextValue, size, entry)) {
        return false;
      }
    } else {
      memcpy(at.nextValue, value, size);
    }
    storeEntry(at, entry->fieldID, type, sdo::kOutOfLine, static_cast<uint32_t>(position << 16 | size));
    at.nextValue += size;
    at.runningTotal += size;
    return true;
  }

  /// Fills every space that was reserved, and those reserved meanwhile.
  [[nodiscard]] bool fillReservations()
  {
    while (latest_ != nullptr) {
      uint8_t *start = latest_;
      const auto reservation = sdo::load<Reservation>(start);
      latest_ = reservation.next;
      if (!writeObject(*reservation.object, start)) {
        return false;
      }
    }
    return true;
  }

 private:
  static void storeEntry(SDOBinaryGenerator &at, uint32_t fieldID, uint32_t type, uint32_t flags, uint32_t rest)
  {
    sdo::store(at.nextEntry, fieldID | type << 16 | flags << 24);
    sdo::store(at.nextEntry + sdo::kInlineOffset, rest);
    at.nextEntry += sdo::kEntrySize;
  }

  static uint32_t tableEndOf(const SDOConfig &object) { return sdo::kHeaderSize + object.count * sdo::kEntrySize; }

  [[nodiscard]] bool writeObject(const SDOConfig &object, uint8_t *start)
  {
    const uint32_t tableEnd = tableEndOf(object);
    if (tableEnd > object.binarySize) {
      return false;
    }
    sdo::store(start, BlockHeader{SDO_BINARY_MAGIC, static_cast<uint16_t>(object.count),
                                  static_cast<uint16_t>(object.binarySize)});
    SDOBinaryGenerator at = {start + sdo::kHeaderSize, start + tableEnd, tableEnd};
    const uint8_t *end = start + object.binarySize;
    for (tree::Node *node = tree::first(object.root); node != nullptr; node = tree::next(node)) {
      if (!writeEntry(at, static_cast<size_t>(end - at.nextValue), sdo::entryOf(node))) {
        return false;
      }
    }
    return at.nextValue == end;
  }

  [[nodiscard]] bool reserveNested(uint8_t *start, uint32_t size, const SDOConfigEntry *entry)
  {
    const uint8_t *pointers = sdo::valueOf(entry);
    if (!sdo::isArray(entry->type)) {
      const SDOConfig *nested = sdo::nestedAt(pointers, 0);
      return nested != nullptr && reserve(start, nested);
    }
    BlockHeader header = {SDO_BINARY_ARRAY_MAGIC, 0, static_cast<uint16_t>(size)};
    uint8_t *element = start + sdo::kHeaderSize;
    for (uint32_t i = 0; i < sdo::nestedCount(entry->type, entry->dataSize); ++i) {
      const SDOConfig *nested = sdo::nestedAt(pointers, i);
      if (nested == nullptr) {
        continue;
      }
      if (!reserve(element, nested)) {
        return false;
      }
      element += nested->binarySize;
      ++header.count;
    }
    sdo::store(start, header);
    return true;
  }

  /// Keeps the space for an object; an empty one is written at once, since its space has no room for the note.
  [[nodiscard]] bool reserve(uint8_t *start, const SDOConfig *object)
  {
    static_assert(sizeof(Reservation) <= sdo::kHeaderSize + sdo::kEntrySize);
    if (object->count == 0) {
      return writeObject(*object, start);
    }
    if (tableEndOf(*object) > object->binarySize) {
      return false;
    }
    sdo::store(start, Reservation{object, latest_});
    latest_ = start;
    return true;
  }

  uint8_t *latest_ = nullptr;
};

bool nestsAnything(const SDOConfig &object)
{
  tree::Node *node = tree::first(object.root);
  while (node != nullptr && !sdo::holdsObjects(sdo::entryOf(node)->type)) {
    node = tree::next(node);
  }
  return node != nullptr;
}

/// Finds out whether an object can be written. Only nesting can get its sizes wrong.
Status tryEncode(const SDOConfig &object)
{
  if (!nestsAnything(object)) {
    return Status::success;
  }
  const qv::HeapBlock<uint8_t> scratch(static_cast<uint8_t *>(malloc(object.binarySize)));
  if (scratch == nullptr) {
    return Status::noMemory;
  }
  return Encoder().encode(object, scratch.get()) ? Status::success : Status::unsuccessful;
}

}  // namespace

uint32_t SDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size)
{
  if (object == nullptr || buffer == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (*size < object->binarySize) {
    return qv::result(Status::bufferTooSmall);
  }
  if (!Encoder().encode(*object, static_cast<uint8_t *>(buffer))) {
    *size = sdo::countBinarySize(*object);
    return qv::result(Status::unsuccessful);
  }
  *size = object->binarySize;
  return qv::result(Status::success);
}

uint32_t SDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer, uint32_t *size)
{
  if (objects == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  auto *array = static_cast<uint8_t *>(buffer);
  if (array != nullptr) {
    if (const uint32_t status = SDOBinaryArrayInitHeader(array, *size); status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  BlockHeader header = {SDO_BINARY_ARRAY_MAGIC, 0, sdo::kHeaderSize};
  uint64_t total = sdo::kHeaderSize;
  for (uint32_t i = 0; i < count; ++i) {
    const SDOConfig *object = objects[i];
    if (object == nullptr) {
      continue;
    }
    const uint64_t start = total;
    total += object->binarySize;
    if (array == nullptr || total > *size) {
      // Left out or only measured; but one that cannot be written is told all the same.
      if (const Status status = tryEncode(*object); status != Status::success) {
        return qv::result(status);
      }
      continue;
    }
    if (total > SDO_BINARY_SIZE_MAX) {
      return qv::result(Status::bufferTooSmall);
    }
    if (!Encoder().encode(*object, array + start)) {
      return qv::result(Status::unsuccessful);
    }
    ++header.count;
    header.totalSize = static_cast<uint16_t>(total);
    sdo::store(array, header);
  }
  *size = static_cast<uint32_t>(std::min<uint64_t>(total, UINT32_MAX));
  return qv::result(Status::success);
}

int32_t BSOCWalkSDOBinaryGenerator(void *generator, void *entry)
{
  constexpr int32_t kGoOn = -1;
  constexpr int32_t kStop = 0;
  auto &at = *static_cast<SDOBinaryGenerator *>(generator);
  Encoder encoder;
  const bool written = encoder.writeEntry(at, SIZE_MAX, static_cast<const SDOConfigEntry *>(entry));
  return written && encoder.fillReservations() ? kGoOn : kStop;
}

QV_ALIAS(SMSDOConfigToBinary, SDOConfigToBinary)
QV_ALIAS(SMSDOConfigArrayToBinaryArray, SDOConfigArrayToBinaryArray)
