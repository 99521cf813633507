// SDO configuration objects: entries in a tree by field ID, and the exact size of the object's binary form, kept up to
// date with every change.
//
// Promises: a failed add changes nothing and leaves the caller its nested objects; freeing needs constant stack at any
// depth of nesting.

#include "sdo/config.h"

#include <algorithm>
#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
#include "base/text.h"
#include "sdo/binary_layout.h"
#include "sdo/decoder.h"

namespace qv::sdo {

SDOConfigEntry *allocateEntry(uint16_t fieldID, uint8_t type, uint32_t dataSize)
{
  auto *entry = static_cast<SDOConfigEntry *>(malloc(sizeof(SDOConfigEntry) + dataSize));
  if (entry != nullptr) {
    *entry = {dataSize, fieldID, type, 0};
  }
  return entry;
}

tree::Node *allocateNode(tree::Node *parent, SDOConfigEntry *entry)
{
  auto *node = static_cast<tree::Node *>(malloc(kNodeSize));
  if (node != nullptr) {
    *node = {nullptr, nullptr, parent, entry, SM_TREE_RED};
    setEntry(node, entry);
  }
  return node;
}

namespace {

/// Frees a tree of entries, and with each entry the trees of what is nested in it. The nodes still to be freed are a list
/// linked by their parent pointers, so that neither stack nor heap is needed, however deep the nesting.
void freeEntries(tree::Node *root)
{
  tree::Node *pending = nullptr;
  const auto push = [&pending](tree::Node *node) {
    if (node != nullptr) {
      node->parent = pending;
      pending = node;
    }
  };
  push(root);
  while (pending != nullptr) {
    tree::Node *node = pending;
    pending = node->parent;
    push(node->left);
    push(node->right);
    SDOConfigEntry *entry = entryOf(node);
    if (holdsObjects(entry->type)) {
      for (uint32_t i = 0; i < nestedCount(entry->type, entry->dataSize); ++i) {
        if (SDOConfig *nested = nestedAt(valueOf(entry), i)) {
          push(nested->root);
          free(nested);
        }
      }
    }
    free(entry);
    free(node);
  }
}

/// Whether a value of nested objects has this object; `likely` is the index at which it would be in an equal value.
bool holds(const SDOConfigEntry &entry, const SDOConfig *object, uint32_t likely)
{
  if (!holdsObjects(entry.type)) {
    return false;
  }
  const uint32_t count = nestedCount(entry.type, entry.dataSize);
  if (likely < count && nestedAt(valueOf(&entry), likely) == object) {
    return true;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (nestedAt(valueOf(&entry), i) == object) {
      return true;
    }
  }
  return false;
}

/// Frees an entry, and of what is nested in it all that its replacement does not hold as well.
void freeReplaced(SDOConfigEntry *entry, const SDOConfigEntry &replacement)
{
  if (holdsObjects(entry->type)) {
    for (uint32_t i = 0; i < nestedCount(entry->type, entry->dataSize); ++i) {
      SDOConfig *nested = nestedAt(valueOf(entry), i);
      if (nested != nullptr && !holds(replacement, nested, i)) {
        SDOConfigFree(nested);
      }
    }
  }
  free(entry);
}

/// Copies a value into a new entry and puts that into the object. The entry has the caller's data size, of which
/// `present` bytes are there to copy; the rest are zeros. If it fails, nothing has changed hands.
Status addValue(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *value, uint32_t dataSize,
                uint32_t present, bool replace)
{
  if (object.count >= kEntryCountMax || dataSize > UINT32_MAX - sizeof(SDOConfigEntry)) {
    return Status::limitExceeded;
  }
  const auto *bytes = static_cast<const uint8_t *>(value);
  const uint32_t added = entrySizeOf(dataBinSize(type, bytes, dataSize, SDO_BINARY_SIZE_MAX));
  if (object.binarySize > SDO_BINARY_SIZE_MAX || added > SDO_BINARY_SIZE_MAX - object.binarySize) {
    return Status::limitExceeded;
  }
  const uint32_t capacity = std::max(dataSize, present);
  HeapBlock<SDOConfigEntry> entry(allocateEntry(fieldID, type, capacity));
  if (entry == nullptr) {
    return Status::noMemory;
  }
  entry->dataSize = dataSize;
  copyShort(valueOf(entry.get()), bytes, present);
  if (present < capacity) {
    memset(valueOf(entry.get()) + present, 0, capacity - present);
  }

  const tree::Place place = locate(object, fieldID);
  if (place.found != nullptr) {
    if (!replace) {
      return Status::alreadyExists;
    }
    SDOConfigEntry *old = entryOf(place.found);
    object.binarySize += added - entrySizeOf(*old);
    freeReplaced(old, *entry);
    setEntry(place.found, entry.release());
    return Status::success;
  }
  tree::Node *node = allocateNode(place.parent, entry.get());
  if (node == nullptr) {
    return Status::noMemory;
  }
  (void)entry.release();  // the tree holds it now
  tree::link(&object.root, node, place);
  ++object.count;
  object.binarySize += added;
  return Status::success;
}

/// Decodes a binary and adds the object.
Status addBinary(SDOConfig &object, uint16_t fieldID, uint8_t type, const BlockHeader &header, const uint8_t *block,
                 bool replace)
{
  const auto binary = BinaryView::of(block, header);
  OwnedObject nested;
  if (!binary || decode(*binary, nested) != Status::success) {
    return Status::unsuccessful;
  }
  const SDOConfig *stored = nested.get();
  const Status status =
      addValue(object, fieldID, withLowBits(type, SDO_TYPE_CONFIG), &stored, kNestedSize, kNestedSize, replace);
  if (status == Status::success) {
    (void)nested.release();  // the entry holds it now
  }
  return status;
}

/// Decodes a binary array and adds its objects.
Status addBinaryArray(SDOConfig &object, uint16_t fieldID, uint8_t type, const BlockHeader &header,
                      const uint8_t *block, bool replace)
{
  HeapBlock<SDOConfig *> objects(
      static_cast<SDOConfig **>(malloc(std::max<size_t>(header.count, 1) * sizeof(SDOConfig *))));
  if (objects == nullptr) {
    return Status::noMemory;
  }
  const auto array = BinaryArrayView::of(block, header);
  const Status decoded = array ? decodeArray(*array, objects.get()) : Status::badType;
  if (decoded != Status::success) {
    return decoded;
  }
  const uint8_t storedType = withLowBits(type, SDO_TYPE_CONFIG) | SDO_TYPE_ARRAY;
  const uint32_t size = header.count * kNestedSize;
  const Status status = addValue(object, fieldID, storedType, objects.get(), size, size, replace);
  if (status != Status::success) {
    std::for_each_n(objects.get(), header.count, SDOConfigFree);
  }
  return status;
}

/// Adds what a block in binary form holds. Only one that has a magic is known to have more than four bytes.
Status addBlock(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *block, bool replace)
{
  const auto *bytes = static_cast<const uint8_t *>(block);
  const auto magic = load<uint32_t>(bytes);
  if (magic != SDO_BINARY_MAGIC && magic != SDO_BINARY_ARRAY_MAGIC) {
    return Status::invalidParameter;
  }
  BlockHeader header = loadHeader(bytes);
  header.magic = magic;
  return magic == SDO_BINARY_MAGIC ? addBinary(object, fieldID, type, header, bytes, replace)
                                   : addBinaryArray(object, fieldID, type, header, bytes, replace);
}

/// Hands out a stored value: its bytes if they fit, its type and size in any case.
Status copyEntryOut(const SDOConfigEntry *entry, uint8_t *type, void *buffer, uint32_t *size)
{
  if (type != nullptr) {
    *type = entry->type;
  }
  return copyValueOut(valueOf(entry), entry->dataSize, buffer, size);
}

/// The node of the entry with the (index + 1)-th smallest field ID; null if there are not so many.
tree::Node *nodeAt(const SDOConfig &object, uint32_t index)
{
  tree::Node *node = tree::first(object.root);
  while (node != nullptr && index-- > 0) {
    node = tree::next(node);
  }
  return node;
}

void removeAllEntries(SDOConfig &object)
{
  freeEntries(object.root);
  object = {nullptr, 0, kEmptyBinarySize};
}

Status removeEntry(SDOConfig &object, tree::Node *node)
{
  if (node == nullptr) {
    return Status::notFound;
  }
  SDOConfigEntry *entry = entryOf(node);
  if (tree::erase(&object.root, node)) {
    setEntry(node, entryOf(node));  // its successor's
  }
  --object.count;
  object.binarySize -= entrySizeOf(*entry);
  BSOCConfigDataPointerFree(entry);
  free(entry);
  return Status::success;
}

}  // namespace

Status add(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *value, uint32_t dataSize, bool replace)
{
  if (!isValidFieldID(fieldID) || type == 0 || value == nullptr || dataSize == 0) {
    return Status::invalidParameter;
  }
  if (holdsBinary(type)) {
    return addBlock(object, fieldID, type, value, replace);
  }
  if (holdsObjects(type) && !isArray(type)) {
    // One object: its address is the value. The entry has space for a whole pointer, also below the caller's data size.
    return addValue(object, fieldID, type, &value, dataSize, kNestedSize, replace);
  }
  return addValue(object, fieldID, type, value, dataSize, dataSize, replace);
}

}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

SDOConfig *SDOConfigAlloc(void)
{
  auto *object = static_cast<SDOConfig *>(malloc(sizeof(SDOConfig)));
  if (object != nullptr) {
    *object = {nullptr, 0, sdo::kEmptyBinarySize};
  }
  return object;
}

void SDOConfigFree(SDOConfig *object)
{
  if (object != nullptr) {
    sdo::freeEntries(object->root);
    free(object);
  }
}

int32_t SDOConfigGetCount(const SDOConfig *object)
{
  return object == nullptr ? -1 : static_cast<int32_t>(object->count);
}

uint32_t SDOConfigAddData(SDOConfig *object, uint16_t fieldID, uint8_t type, const void *value, uint32_t dataSize,
                          int16_t replace)
{
  if (object == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  return qv::result(sdo::add(*object, fieldID, type, value, dataSize, replace == SDO_REPLACE));
}

uint32_t SDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer, uint32_t *size)
{
  if (object == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const qv::tree::Node *node = sdo::find(*object, fieldID);
  if (node == nullptr) {
    return qv::result(sdo::isValidFieldID(fieldID) ? Status::notFound : Status::invalidParameter);
  }
  return qv::result(sdo::copyEntryOut(sdo::entryOf(node), type, buffer, size));
}

uint32_t SDOConfigGetDataByIndex(const SDOConfig *object, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                 void *buffer, uint32_t *size)
{
  if (object == nullptr || fieldID == nullptr || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (index >= object->count) {
    return qv::result(Status::indexOutOfRange);
  }
  const qv::tree::Node *node = sdo::nodeAt(*object, index);
  if (node == nullptr) {
    return qv::result(Status::notFound);
  }
  *fieldID = sdo::entryOf(node)->fieldID;
  return qv::result(sdo::copyEntryOut(sdo::entryOf(node), type, buffer, size));
}

uint32_t SDOConfigRemoveData(SDOConfig *object, uint16_t fieldID, uint32_t index, int16_t removeAll)
{
  if (object == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  if (removeAll != 0) {
    sdo::removeAllEntries(*object);
    return qv::result(Status::success);
  }
  if (sdo::isValidFieldID(fieldID)) {
    return qv::result(sdo::removeEntry(*object, sdo::locate(*object, fieldID).found));
  }
  if (index >= object->count) {
    return qv::result(Status::indexOutOfRange);
  }
  return qv::result(sdo::removeEntry(*object, sdo::nodeAt(*object, index)));
}

int32_t SDOConfigGetBinarySize(const SDOConfig *object)
{
  return object == nullptr ? -1 : static_cast<int32_t>(object->binarySize);
}

int32_t SDOConfigReCalcBinarySize(const SDOConfig *object)
{
  if (object == nullptr) {
    return -1;
  }
  uint32_t total = sdo::kEmptyBinarySize;
  for (qv::tree::Node *node = qv::tree::first(object->root); node != nullptr; node = qv::tree::next(node)) {
    total += sdo::entrySizeOf(*sdo::entryOf(node));
  }
  return total == object->binarySize ? static_cast<int32_t>(total) : -1;
}

QV_ALIAS(SMSDOConfigAlloc, SDOConfigAlloc)
QV_ALIAS(SMSDOConfigFree, SDOConfigFree)
QV_ALIAS(SMSDOConfigGetCount, SDOConfigGetCount)
QV_ALIAS(SMSDOConfigAddData, SDOConfigAddData)
QV_ALIAS(SMSDOConfigGetDataByID, SDOConfigGetDataByID)
QV_ALIAS(SMSDOConfigGetDataByIndex, SDOConfigGetDataByIndex)
QV_ALIAS(SMSDOConfigRemoveData, SDOConfigRemoveData)
QV_ALIAS(SMSDOConfigGetBinarySize, SDOConfigGetBinarySize)
