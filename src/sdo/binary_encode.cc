// Objects to binary form, in place.
//
// Promises: every nested object is written straight to its place, each byte once, without recursion; nothing is written
// outside the space that the sizes at hand allow, also if a nested object was changed after it was added; and nothing is
// ever read back from the output, which may be in memory that others write.
//
// How: one walk through the object and all that is nested in it, depth first. Where it goes down into a nested object it
// keeps a frame, on the stack for the first few levels. A second use of the same walk, without an output, finds out
// whether an object can be written.

#include "base/alias.h"
#include "base/heap.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"
#include "sdo/encoder.h"
#include "sdo/work_list.h"

namespace qv::sdo {
namespace {

/// The 1 to 4 bytes of an inline value, followed by zeros. Most are numbers of exactly 4 bytes, which need no loop.
inline uint32_t loadInline(const uint8_t *value, uint32_t size)
{
  if (size == sizeof(uint32_t)) {
    return load<uint32_t>(value);
  }
  uint32_t bytes = 0;
  for (uint32_t i = size; i > 0; --i) {
    bytes = bytes << 8 | value[i - 1];
  }
  return bytes;
}

inline void storeEntry(uint8_t *at, uint32_t fieldID, uint32_t type, uint32_t flags, uint32_t rest)
{
  store(at, fieldID | type << 16 | flags << 24);
  store(at + kInlineOffset, rest);
}

inline void storeInline(uint8_t *at, const SDOConfigEntry &entry)
{
  storeEntry(at, entry.fieldID, entry.type, (entry.dataSize - 1) & kInlineSizeMask,
             loadInline(valueOf(&entry), entry.dataSize));
}

/// Size and position are kept to 16 bits each.
inline void storeOutOfLine(uint8_t *at, uint32_t fieldID, uint32_t type, uint32_t size, uint32_t position)
{
  storeEntry(at, fieldID, type, kOutOfLine, position << 16 | (size & UINT16_MAX));
}

class Encoder {
 public:
  /// Writes into `out` the binary size of bytes of an object; a null `out` only checks. Fails with unsuccessful if the
  /// sizes do not agree.
  Status encode(const SDOConfig &object, uint8_t *out)
  {
    out_ = out;
    if (!enter(object, 0)) {
      return Status::unsuccessful;
    }
    for (;;) {
      if (at_.node == nullptr) {
        if (at_.nextValue != at_.end) {
          return Status::unsuccessful;
        }
        if (isOutermost()) {
          return Status::success;
        }
        at_ = outer_.last();
        outer_.pop();
      } else if (const SDOConfigEntry &entry = *entryOf(at_.node); !holdsObjects(entry.type)) {
        if (!writePlain(entry)) {
          return Status::unsuccessful;
        }
        continue;
      } else {
        at_.nextElement = at_.nextValue + sizeBesideObjects(entry.type);
      }
      if (const Status status = writeNested(*entryOf(at_.node)); status != Status::success) {
        return status;
      }
    }
  }

  /// Where the walk through the outermost object has come to, in bytes of its binary form.
  uint32_t runningTotal() { return isOutermost() ? at_.nextValue : outer_[0].nextValue; }

 private:
  /// The state of one object: offsets into the output.
  struct Frame {
    tree::Node *node;  // of the entry that is written next, or in which the walk has gone down
    uint32_t nextEntry;
    uint32_t nextValue;
    uint32_t end;              // of the object's space
    uint32_t nextElement;      // while the objects nested in an entry are written: where the next one goes,
    uint32_t element;          // its index among the entry's pointers,
    uint32_t elementsWritten;  // and the number of those before it that are not null
  };

  bool isOutermost() const { return outer_.size() == 0; }

  /// Whether the object's space reaches so far. The outermost object may turn out to be larger than it says: then the
  /// rest of it is only counted.
  [[nodiscard]] bool reserve(uint32_t end)
  {
    if (end <= at_.end) {
      return true;
    }
    out_ = nullptr;
    return isOutermost();
  }

  /// Starts an object at an offset.
  [[nodiscard]] bool enter(const SDOConfig &object, uint32_t start)
  {
    const uint32_t tableEnd = start + kHeaderSize + object.count * kEntrySize;
    at_ = {tree::first(object.root), start + kHeaderSize, tableEnd, start + object.binarySize, 0, 0, 0};
    if (!reserve(tableEnd)) {
      return false;
    }
    if (out_ != nullptr) {
      store(out_ + start, BlockHeader{SDO_BINARY_MAGIC, static_cast<uint16_t>(object.count),
                                      static_cast<uint16_t>(object.binarySize)});
    }
    return true;
  }

  [[nodiscard]] bool writePlain(const SDOConfigEntry &entry)
  {
    if (entry.dataSize <= kInlineValueMax) {
      if (out_ != nullptr) {
        storeInline(out_ + at_.nextEntry, entry);
      }
      leaveEntry(at_.nextValue);
      return true;
    }
    const uint32_t end = at_.nextValue + entry.dataSize;
    if (!reserve(end)) {
      return false;
    }
    if (out_ != nullptr) {
      storeOutOfLine(out_ + at_.nextEntry, entry.fieldID, entry.type, entry.dataSize, at_.nextValue - at_.nextEntry);
      memcpy(out_ + at_.nextValue, valueOf(&entry), entry.dataSize);
    }
    leaveEntry(end);
    return true;
  }

  /// Goes down into the next object of an entry, or completes the entry after the last one.
  Status writeNested(const SDOConfigEntry &entry)
  {
    while (at_.element < nestedCount(entry.type, entry.dataSize)) {
      const SDOConfig *nested = nestedAt(valueOf(&entry), at_.element++);
      if (nested == nullptr) {
        if (!isArray(entry.type)) {
          return Status::unsuccessful;
        }
        continue;
      }
      const uint32_t start = at_.nextElement;
      if (nested->binarySize > SDO_BINARY_SIZE_MAX || !reserve(start + nested->binarySize)) {
        return Status::unsuccessful;
      }
      at_.nextElement += nested->binarySize;
      ++at_.elementsWritten;
      if (!outer_.push(at_)) {
        return Status::noMemory;
      }
      return enter(*nested, start) ? Status::success : Status::unsuccessful;
    }
    const uint32_t size = at_.nextElement - at_.nextValue;
    if (size > SDO_BINARY_SIZE_MAX || !reserve(at_.nextElement)) {
      return Status::unsuccessful;
    }
    if (out_ != nullptr) {
      if (isArray(entry.type)) {
        store(out_ + at_.nextValue, BlockHeader{SDO_BINARY_ARRAY_MAGIC, static_cast<uint16_t>(at_.elementsWritten),
                                                static_cast<uint16_t>(size)});
      }
      storeOutOfLine(out_ + at_.nextEntry, entry.fieldID, withLowBits(entry.type, SDO_TYPE_BINARY), size,
                     at_.nextValue - at_.nextEntry);
    }
    leaveEntry(at_.nextElement);
    return Status::success;
  }

  void leaveEntry(uint32_t nextValue)
  {
    at_.node = tree::next(at_.node);
    at_.nextEntry += kEntrySize;
    at_.nextValue = nextValue;
    at_.element = 0;
    at_.elementsWritten = 0;
  }

  uint8_t *out_ = nullptr;
  Frame at_ = {};
  WorkList<Frame, 8> outer_;  // the objects that hold this one, outermost first
};

}  // namespace

Status encode(const SDOConfig &object, uint8_t *buffer, uint32_t &size)
{
  Encoder encoder;
  const Status status = encoder.encode(object, buffer);
  size = encoder.runningTotal();
  return status == Status::success ? status : Status::unsuccessful;
}

Status encodeArray(const uint8_t *pointers, uint32_t count, uint8_t *array, uint32_t &size)
{
  if (array != nullptr) {
    if (size < kHeaderSize) {
      return Status::bufferTooSmall;
    }
    store(array, BlockHeader{SDO_BINARY_ARRAY_MAGIC, 0, kHeaderSize});
  }
  BlockHeader header = {SDO_BINARY_ARRAY_MAGIC, 0, kHeaderSize};
  uint64_t total = kHeaderSize;
  for (uint32_t i = 0; i < count; ++i) {
    const SDOConfig *object = nestedAt(pointers, i);
    if (object == nullptr) {
      continue;
    }
    const uint64_t start = total;
    total += object->binarySize;
    const bool fits = array != nullptr && total <= size;
    const bool isWritten = fits && total <= SDO_BINARY_SIZE_MAX;
    // One that is left out or only measured must be one that can be written all the same.
    Encoder encoder;
    if (const Status status = encoder.encode(*object, isWritten ? array + start : nullptr); status != Status::success) {
      return status;
    }
    if (fits && !isWritten) {
      return Status::bufferTooSmall;
    }
    if (isWritten) {
      ++header.count;
      header.totalSize = static_cast<uint16_t>(total);
      store(array, header);
    }
  }
  size = clampSize(total);
  return Status::success;
}

}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

uint32_t SDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size)
{
  if (object == nullptr || buffer == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (*size < object->binarySize) {
    return qv::result(Status::bufferTooSmall);
  }
  return qv::result(sdo::encode(*object, static_cast<uint8_t *>(buffer), *size));
}

uint32_t SDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer, uint32_t *size)
{
  if (objects == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto *pointers = reinterpret_cast<const uint8_t *>(objects);
  return qv::result(sdo::encodeArray(pointers, count, static_cast<uint8_t *>(buffer), *size));
}

int32_t BSOCWalkSDOBinaryGenerator(void *generator, void *entry)
{
  constexpr int32_t kGoOn = -1;
  constexpr int32_t kStop = 0;
  auto &at = *static_cast<SDOBinaryGenerator *>(generator);
  const auto &from = *static_cast<const SDOConfigEntry *>(entry);
  if (!sdo::holdsObjects(from.type) && from.dataSize <= sdo::kInlineValueMax) {
    sdo::storeInline(at.nextEntry, from);
    at.nextEntry += sdo::kEntrySize;
    return kGoOn;
  }
  sdo::storeEntry(at.nextEntry, from.fieldID, from.type, 0, 0);
  uint32_t size = sdo::dataBinSize(from.type, sdo::valueOf(&from), from.dataSize);
  const uint8_t *value = sdo::valueOf(&from);
  uint8_t type = from.type;
  qv::HeapBlock<uint8_t> nested;  // written apart, since a failure leaves the value area alone
  if (sdo::holdsObjects(from.type)) {
    nested.reset(static_cast<uint8_t *>(malloc(size)));
    const SDOConfig *object = sdo::isArray(from.type) ? nullptr : sdo::nestedAt(value, 0);
    if (nested == nullptr || (object == nullptr && !sdo::isArray(from.type))) {
      return kStop;
    }
    const Status status = object != nullptr
                              ? sdo::encode(*object, nested.get(), size)
                              : sdo::encodeArray(value, sdo::nestedCount(from.type, from.dataSize), nested.get(), size);
    if (status != Status::success) {
      return kStop;
    }
    value = nested.get();
    type = sdo::withLowBits(type, SDO_TYPE_BINARY);
  }
  sdo::storeOutOfLine(at.nextEntry, from.fieldID, type, size, static_cast<uint32_t>(at.nextValue - at.nextEntry));
  memcpy(at.nextValue, value, size);
  at.nextValue += size;
  at.runningTotal += size;
  at.nextEntry += sdo::kEntrySize;
  return kGoOn;
}

QV_ALIAS(SMSDOConfigToBinary, SDOConfigToBinary)
QV_ALIAS(SMSDOConfigArrayToBinaryArray, SDOConfigArrayToBinaryArray)
