// Binary form to objects.
//
// Promises: everything taken is checked against the block that holds it; nested blocks are taken level by level from a
// list, so that no depth of nesting reaches the stack; and all that one block can make is bounded by the size that an
// object may have, also where its values overlap.

#include <utility>

#include "base/alias.h"
#include "base/heap.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"
#include "sdo/decoder.h"
#include "sdo/work_list.h"

namespace qv::sdo {
namespace {

/// An object that was made for a block and waits to be filled from it.
struct Pending {
  SDOConfig *object;
  BinaryView binary;
  uint32_t parent;  // index of the object that it is nested in
};

class Decoder {
 public:
  /// Makes the object of a binary whose header was checked.
  Status decode(const BinaryView &binary, OwnedObject &object)
  {
    OwnedObject made(SDOConfigAlloc());
    if (made == nullptr || !pending_.push({made.get(), binary, 0})) {
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
    const BinaryView binary = pending_[index].binary;  // a copy: the list may move
    if (const Status status = spend(kHeaderSize); status != Status::success) {
      return status;
    }
    tree::Node *last = nullptr;
    for (uint32_t i = 0; i < binary.count(); ++i) {
      const BinaryEntry entry = binary.entry(i);
      const std::optional<BinaryValue> value = binary.value(entry, i);
      if (!value || !isValidFieldID(entry.fieldID) || entry.type == 0 || value->size == 0) {
        return Status::badType;
      }
      const Status status = holdsBinary(entry.type) ? addNested(object, last, entry, *value, index)
                                                    : addPlain(object, last, entry, *value);
      if (status != Status::success) {
        return status;
      }
    }
    return Status::success;
  }

  Status addPlain(SDOConfig &object, tree::Node *&last, const BinaryEntry &from, const BinaryValue &value)
  {
    SDOConfigEntry *entry;
    const Status status = addEntry(object, last, from.fieldID, from.type, value.size, entrySizeOf(value.size), entry);
    if (status == Status::success) {
      memcpy(valueOf(entry), value.bytes, value.size);
    }
    return status;
  }

  /// By the magic of the value's block. With the array bit, a single binary becomes an array of one.
  Status addNested(SDOConfig &object, tree::Node *&last, const BinaryEntry &from, const BinaryValue &value,
                   uint32_t parent)
  {
    if (value.size < kHeaderSize) {
      return Status::badType;
    }
    const uint8_t type = withLowBits(from.type, SDO_TYPE_CONFIG);
    const BlockHeader header = loadHeader(value.bytes);
    SDOConfigEntry *entry;
    if (const auto binary = BinaryView::of(value.bytes, header, value.size)) {
      const Status status = addNestedEntry(object, last, from.fieldID, type, 1, entry);
      return status == Status::success ? addChild(entry, 0, *binary, parent) : status;
    }
    const auto array = BinaryArrayView::of(value.bytes, header, value.size);
    if (!array) {
      return Status::badType;
    }
    const Status status = addNestedEntry(object, last, from.fieldID, type | SDO_TYPE_ARRAY, array->count(), entry);
    if (status != Status::success) {
      return status;
    }
    return array->forEach([&](uint32_t i, const BinaryView &element) { return addChild(entry, i, element, parent); });
  }

  /// Adds an entry of nested objects, all null for now: the objects are counted when they are filled.
  Status addNestedEntry(SDOConfig &object, tree::Node *&last, uint16_t fieldID, uint8_t type, uint32_t count,
                        SDOConfigEntry *&entry)
  {
    const uint32_t size = count * kNestedSize;
    const Status status = addEntry(object, last, fieldID, type, size, entrySizeOf(sizeBesideObjects(type)), entry);
    if (status == Status::success) {
      memset(valueOf(entry), 0, size);
    }
    return status;
  }

  /// Adds an entry whose value the caller fills in at once. entrySize is what it adds to the object's binary size,
  /// without the objects nested in it, which are counted when they are filled.
  Status addEntry(SDOConfig &object, tree::Node *&last, uint16_t fieldID, uint8_t type, uint32_t dataSize,
                  uint32_t entrySize, SDOConfigEntry *&added)
  {
    if (const Status status = spend(entrySize); status != Status::success) {
      return status;
    }
    // Entries come by ascending field ID: each is linked after the last one, without a search.
    tree::Place place = {nullptr, last, false};
    const bool ascending = last == nullptr || keyOf(last) < fieldID;
    if (!ascending) {
      place = locate(object, fieldID);
      if (place.found != nullptr) {
        return Status::alreadyExists;
      }
    }
    HeapBlock<SDOConfigEntry> entry(allocateEntry(fieldID, type, dataSize));
    tree::Node *node = entry == nullptr ? nullptr : allocateNode(place.parent, entry.get());
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
    return pending_.push({child, binary, parent}) ? Status::success : Status::noMemory;
  }

  WorkList<Pending, 8> pending_;
  uint32_t total_ = 0;
};

}  // namespace

Status decode(const BinaryView &binary, OwnedObject &object)
{
  Decoder decoder;  // its list is not cleared
  return decoder.decode(binary, object);
}

Status decodeArray(const BinaryArrayView &array, SDOConfig **objects)
{
  uint32_t made = 0;
  const Status status = array.forEach([&](uint32_t i, const BinaryView &element) {
    OwnedObject object;
    const Status decoded = decode(element, object);
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
  }
  return status;
}

}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

SDOConfig *SDOBinaryToConfig(const void *binary)
{
  if (binary == nullptr) {
    return nullptr;
  }
  const auto view = sdo::BinaryView::of(static_cast<const uint8_t *>(binary), sdo::loadHeader(binary));
  sdo::OwnedObject object;
  if (!view || sdo::decode(*view, object) != Status::success) {
    return nullptr;
  }
  return object.release();
}

uint32_t SDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count)
{
  if (array == nullptr || count == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const sdo::BlockHeader header = sdo::loadHeader(array);
  if (header.magic != SDO_BINARY_ARRAY_MAGIC) {
    return qv::result(Status::badType);
  }
  if (*count < header.count) {
    *count = header.count;
    return qv::result(Status::bufferTooSmall);
  }
  if (header.count > 0 && objects == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto view = sdo::BinaryArrayView::of(static_cast<const uint8_t *>(array), header);
  const Status status = view ? sdo::decodeArray(*view, objects) : Status::badType;
  if (status == Status::success) {
    *count = header.count;
  }
  return qv::result(status);
}

QV_ALIAS(SMSDOBinaryToConfig, SDOBinaryToConfig)
QV_ALIAS(SMSDOBinaryArrayToConfigArray, SDOBinaryArrayToConfigArray)
