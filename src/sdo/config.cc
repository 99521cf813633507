// SDO configuration objects: entries in a tree by field ID, and the exact size of the object's binary form kept up to
// date with every change.
//
// Promises: a failed add changes nothing and keeps the caller's objects the caller's; freeing takes any depth of
// nesting in constant stack.

#include "sdo/config.h"

#include <algorithm>
#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
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

uint32_t countBinarySize(const SDOConfig &object)
{
  uint32_t total = kEmptyBinarySize;
  for (tree::Node *node = tree::first(object.root); node != nullptr; node = tree::next(node)) {
    (void)BSOCWalkCalculateBinarySize(&total, node->data);  // it always goes on
  }
  return total;
}

namespace {

/// Frees a tree of entries, and with each entry the trees of what is nested in it. The nodes still to be freed hang
/// together by their parent pointers, so that neither stack nor heap is needed, however deep the nesting.
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
    SMRedBlackTreeNodeFree(node);
  }
}

uint32_t entrySize(const SDOConfigEntry *entry)
{
  return CalcSDOEntrySizeByType(entry->type, valueOf(entry), entry->dataSize, nullptr);
}

void freeEntry(SDOConfigEntry *entry)
{
  BSOCConfigDataPointerFree(entry);
  free(entry);
}

/// Copies the value into a new entry and puts that into the object. On a failure nothing has changed hands.
Status addValue(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *value, uint32_t dataSize, bool replace)
{
  if (object.count >= kEntryCountMax || dataSize > UINT32_MAX - sizeof(SDOConfigEntry)) {
    return Status::limitExceeded;
  }
  const uint32_t added = CalcSDOEntrySizeByType(type, value, dataSize, nullptr);
  if (object.binarySize > SDO_BINARY_SIZE_MAX || added > SDO_BINARY_SIZE_MAX - object.binarySize) {
    return Status::limitExceeded;
  }
  HeapBlock<SDOConfigEntry> entry(allocateEntry(fieldID, type, dataSize));
  if (entry == nullptr) {
    return Status::noMemory;
  }
  memcpy(valueOf(entry.get()), value, dataSize);

  const tree::Place place = locate(object, fieldID);
  if (place.found != nullptr) {
    if (!replace) {
      return Status::alreadyExists;
    }
    SDOConfigEntry *old = entryOf(place.found);
    place.found->data = entry.release();
    object.binarySize += added - entrySize(old);
    freeEntry(old);
    return Status::success;
  }
  tree::Node *node = SMRedBlackTreeNodeAlloc(place.parent, entry.get());
  if (node == nullptr) {
    return Status::noMemory;
  }
  (void)entry.release();  // the tree holds it now
  tree::link(&object.root, node, place);
  ++object.count;
  object.binarySize += added;
  return Status::success;
}

/// Turns a binary or a binary array into nested objects and stores those.
Status addBinary(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *block, bool replace)
{
  uint32_t magic;
  memcpy(&magic, block, sizeof(magic));
  if (magic == SDO_BINARY_MAGIC) {
    OwnedObject nested(SDOBinaryToConfig(block));
    if (nested == nullptr) {
      return Status::unsuccessful;
    }
    const SDOConfig *stored = nested.get();
    const Status status = addValue(object, fieldID, withLowBits(type, SDO_TYPE_CONFIG), &stored, kNestedSize, replace);
    if (status == Status::success) {
      (void)nested.release();  // the entry holds it now
    }
    return status;
  }
  if (magic == SDO_BINARY_ARRAY_MAGIC) {
    auto count = static_cast<uint32_t>(SDOBinaryGetCount(block));
    HeapBlock<SDOConfig *> objects(static_cast<SDOConfig **>(malloc(std::max(count, 1U) * sizeof(SDOConfig *))));
    if (objects == nullptr) {
      return Status::noMemory;
    }
    if (const Status status = decodeArray(block, objects.get(), count); status != Status::success) {
      return status;
    }
    const Status status = addValue(object, fieldID, withLowBits(type, SDO_TYPE_CONFIG) | SDO_TYPE_ARRAY, objects.get(),
                                   count * kNestedSize, replace);
    if (status != Status::success) {
      std::for_each_n(objects.get(), count, SDOConfigFree);
    }
    return status;
  }
  return Status::invalidParameter;
}

/// Hands out a stored value: its bytes when they fit, its type and size in any case.
Status copyEntryOut(const SDOConfigEntry *entry, uint8_t *type, void *buffer, uint32_t *size)
{
  if (type != nullptr) {
    *type = entry->type;
  }
  return copyOut(valueOf(entry), entry->dataSize, buffer, size);
}

/// The node of the entry with the (index + 1)-th smallest field ID; null when there are not so many.
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
  tree::erase(&object.root, node);
  --object.count;
  object.binarySize -= entrySize(entry);
  freeEntry(entry);
  return Status::success;
}

}  // namespace
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
  if (object == nullptr || !sdo::isValidFieldID(fieldID) || type == 0 || value == nullptr || dataSize == 0) {
    return qv::result(Status::invalidParameter);
  }
  const bool replaceOld = replace == 1;
  if (sdo::holdsBinary(type)) {
    return qv::result(sdo::addBinary(*object, fieldID, type, value, replaceOld));
  }
  if (sdo::holdsObjects(type) && !sdo::isArray(type)) {
    if (dataSize != sdo::kNestedSize) {
      return qv::result(Status::invalidParameter);
    }
    return qv::result(sdo::addValue(*object, fieldID, type, &value, dataSize, replaceOld));
  }
  return qv::result(sdo::addValue(*object, fieldID, type, value, dataSize, replaceOld));
}

uint32_t SDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer, uint32_t *size)
{
  if (object == nullptr || !sdo::isValidFieldID(fieldID) || size == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const qv::tree::Node *node = sdo::locate(*object, fieldID).found;
  if (node == nullptr) {
    return qv::result(Status::notFound);
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
  if (object == nullptr || sdo::countBinarySize(*object) != object->binarySize) {
    return -1;
  }
  return static_cast<int32_t>(object->binarySize);
}

QV_ALIAS(SMSDOConfigAlloc, SDOConfigAlloc)
QV_ALIAS(SMSDOConfigFree, SDOConfigFree)
QV_ALIAS(SMSDOConfigGetCount, SDOConfigGetCount)
QV_ALIAS(SMSDOConfigAddData, SDOConfigAddData)
QV_ALIAS(SMSDOConfigGetDataByID, SDOConfigGetDataByID)
QV_ALIAS(SMSDOConfigGetDataByIndex, SDOConfigGetDataByIndex)
QV_ALIAS(SMSDOConfigRemoveData, SDOConfigRemoveData)
QV_ALIAS(SMSDOConfigGetBinarySize, SDOConfigGetBinarySize)
