// Binary form to objects.
//
// Promises: everything taken is checked against the block that holds it; nested blocks are taken level by level from a
// list, so that no depth of nesting reaches the stack; and all that one block can make is bounded by the size that an
// object may have, also where its values overlap.

#include <algorithm>
#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"
#include "sdo/decoder.h"

namespace qv::sdo {
namespace {

/// An object that was made for a block and waits to be filled from it.
struct Pending {
  SDOConfig *object;
  const uint8_t *block;
  uint32_t parent;  // index of the object that it is nested in
};

/// The objects of one block in the order in which they are met, parents first. Most blocks nest nothing or little.
class PendingList {
 public:
  uint32_t size() const { return size_; }
  Pending &operator[](uint32_t index) { return items_[index]; }

  /// False when the heap is exhausted.
  [[nodiscard]] bool push(const Pending &item)
  {
    if (size_ == capacity_ && !grow()) {
      return false;
    }
    items_[size_++] = item;
    return true;
  }

 private:
  bool grow()
  {
    const uint32_t capacity = capacity_ * 4;
    auto *larger = static_cast<Pending *>(realloc(onHeap_.get(), capacity * sizeof(Pending)));
    if (larger == nullptr) {
      return false;
    }
    if (onHeap_ == nullptr) {
      std::copy_n(few_, size_, larger);
    }
    (void)onHeap_.release();  // realloc has taken it
    onHeap_.reset(larger);
    items_ = larger;
    capacity_ = capacity;
    return true;
  }

  Pending few_[8];
  HeapBlock<Pending> onHeap_;
  Pending *items_ = few_;
  uint32_t size_ = 0;
  uint32_t capacity_ = 8;
};

class Decoder {
 public:
  /// Makes the object of a binary whose header was checked.
  Status decode(const BinaryView &binary, OwnedObject &object)
  {
    OwnedObject made(SDOConfigAlloc());
    if (made == nullptr || !pending_.push({made.get(), binary.block(), 0})) {
      return Status::noMemory;
    }
    for (uint32_t i = 0; i < pending_.size(); ++i) {
      if (const Status status = fill(i); status != Status::success) {
        return status;
      }
    }
    // Children come after their parents: from the end, each size is complete before it is added to the next.
    for (uint32_t i = pending_.size() - 1; i > 0; --i) {
      pending_[pending_[i].parent].object->binarySize += pending_[i].object->binarySize;
    }
    object = std::move(made);
    return Status::success;
  }

 private:
  /// Counts bytes of the binary form that everything made so far adds up to. An object cannot be larger than the limit,
  /// so neither can all that is nested in it.
  Status spend(uint32_t bytes)
  {
    total_ += bytes;
    return total_ > SDO_BINARY_SIZE_MAX ? Status::limitExceeded : Status::success;
  }

  /// Makes the entries of one object, and objects to be filled later for what is nested in them.
  Status fill(uint32_t index)
  {
    SDOConfig &object = *pending_[index].object;
    // The header was checked when the block was found.
    const BinaryView binary = *BinaryView::open(pending_[index].block);
    if (const Status status = spend(kHeaderSize); status != Status::success) {
      return status;
    }
    tree::Node *last = nullptr;
    for (uint32_t i = 0; i < binary.count(); ++i) {
      const uint16_t fieldID = binary.entry(i).fieldID;
      const std::optional<BinaryValue> value = binary.value(i);
      if (!value || !isValidFieldID(fieldID) || value->type == 0 || value->size == 0) {
        return Status::badType;
      }
      const Status status = holdsBinary(value->type) ? addNested(object, last, fieldID, *value, index)
                                                     : addPlain(object, last, fieldID, *value);
      if (status != Status::success) {
        return status;
      }
    }
    return Status::success;
  }

  Status addPlain(SDOConfig &object, tree::Node *&last, uint16_t fieldID, const BinaryValue &value)
  {
    SDOConfigEntry *entry;
    const uint32_t entrySize = CalcSDOEntrySizeByDataBinSize(value.size);
    const Status status = addEntry(object, last, fieldID, value.type, value.size, entrySize, entry);
    if (status == Status::success) {
      memcpy(valueOf(entry), value.bytes, value.size);
    }
    return status;
  }

  Status addNested(SDOConfig &object, tree::Node *&last, uint16_t fieldID, const BinaryValue &value, uint32_t parent)
  {
    uint8_t type = withLowBits(value.type, SDO_TYPE_CONFIG);
    SDOConfigEntry *entry;
    if (const auto binary = BinaryView::open(value.bytes, value.size)) {
      // With the array bit, a single binary becomes an array of one.
      const uint32_t entrySize = kEntrySize + (isArray(type) ? kHeaderSize : 0);
      const Status status = addEntry(object, last, fieldID, type, kNestedSize, entrySize, entry);
      if (status != Status::success) {
        return status;
      }
      setNestedAt(valueOf(entry), 0, nullptr);
      return addChild(entry, 0, *binary, parent);
    }
    const auto array = BinaryArrayView::open(value.bytes, value.size);
    if (!array) {
      return Status::badType;
    }
    type |= SDO_TYPE_ARRAY;
    const uint32_t dataSize = array->count() * kNestedSize;
    const Status status = addEntry(object, last, fieldID, type, dataSize, kEntrySize + kHeaderSize, entry);
    if (status != Status::success) {
      return status;
    }
    memset(valueOf(entry), 0, dataSize);
    return array->forEach([&](uint32_t i, const BinaryView &element) { return addChild(entry, i, element, parent); });
  }

  /// Adds an entry whose value the caller fills in at once. entrySize is what it adds to the object's binary size,
  /// without the objects nested in it, which are counted when they are filled.
  Status addEntry(SDOConfig &object, tree::Node *&last, uint16_t fieldID, uint8_t type, uint32_t dataSize,
                  uint32_t entrySize, SDOConfigEntry *&added)
  {
    if (const Status status = spend(entrySize); status != Status::success) {
      return status;
    }
    // Entries come by ascending field ID: each goes behind the last one, without a search.
    tree::Place place = {nullptr, last, false};
    const bool ascending = last == nullptr || entryOf(last)->fieldID < fieldID;
    if (!ascending) {
      place = locate(object, fieldID);
      if (place.found != nullptr) {
        return Status::alreadyExists;
      }
    }
    HeapBlock<SDOConfigEntry> entry(allocateEntry(fieldID, type, dataSize));
    tree::Node *node = entry == nullptr ? nullptr : SMRedBlackTreeNodeAlloc(place.parent, entry.get());
    if (node == nullptr) {
      return Status::noMemory;
    }
    added = entry.release();
    tree::link(&object.root, node, place);
    ++object.count;
    object.binarySize += entrySize;
    if (ascending) {
      last = node;
    }
    return Status::success;
  }

  Status addChild(SDOConfigEntry *entry, uint32_t slot, const BinaryView &binary, uint32_t parent)
  {
    SDOConfig *child = SDOConfigAlloc();
    if (child == nullptr) {
      return Status::noMemory;
    }
    setNestedAt(valueOf(entry), slot, child);  // from here on it is freed with the entry
    return pending_.push({child, binary.block(), parent}) ? Status::success : Status::noMemory;
  }

  PendingList pending_;
  uint32_t total_ = 0;
};

}  // namespace

Status decodeArray(const void *array, SDOConfig **objects, uint32_t &count)
{
  const auto view = BinaryArrayView::open(array);
  if (!view) {
    return Status::badType;
  }
  if (count < view->count()) {
    count = view->count();
    return Status::bufferTooSmall;
  }
  if (view->count() > 0 && objects == nullptr) {
    return Status::invalidParameter;
  }
  uint32_t made = 0;
  const Status status = view->forEach([&](uint32_t i, const BinaryView &element) {
    OwnedObject object;
    const Status decoded = Decoder().decode(element, object);
    if (decoded != Status::success) {
      return decoded == Status::noMemory ? Status::noMemory : Status::unsuccessful;
    }
    objects[i] = object.release();
    ++made;
    return Status::success;
  });
  if (status != Status::success) {
    for (uint32_t i = 0; i < made; ++i) {
      SDOConfigFree(objects[i]);
      objects[i] = nullptr;
    }
    return status;
  }
  count = view->count();
  return Status::success;
}

}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

SDOConfig *SDOBinaryToConfig(const void *binary)
{
  if (binary == nullptr) {
    return nullptr;
  }
  const auto view = sdo::BinaryView::open(binary);
  sdo::OwnedObject object;
  if (!view || sdo::Decoder().decode(*view, object) != Status::success) {
    return nullptr;
  }
  return object.release();
}

uint32_t SDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count)
{
  if (array == nullptr || count == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  return qv::result(sdo::decodeArray(array, objects, *count));
}

QV_ALIAS(SMSDOBinaryToConfig, SDOBinaryToConfig)
QV_ALIAS(SMSDOBinaryArrayToConfigArray, SDOBinaryArrayToConfigArray)
