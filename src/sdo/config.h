// The inside of an SDO object, shared by the object's own functions and by the encoder and decoder of its binary form.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "base/size.h"
#include "base/status.h"
#include "containers/red_black_tree.h"
#include "qvsupt32/sdo.h"

struct SDOConfig {
  SMRedBlackTreeNode *root;  // of the entries, by field ID
  uint32_t count;
  uint32_t binarySize;
};

static_assert(sizeof(SDOConfigEntry) == 8);
static_assert(sizeof(void *) != 4 || (sizeof(SDOConfig) == 12 && sizeof(SDOConfigQuery) == 16 &&
                                      sizeof(SDOBinaryGenerator) == 12 && sizeof(SMRedBlackTreeNode) == 20));

namespace qv::sdo {

struct FreeObject {
  void operator()(SDOConfig *object) const { SDOConfigFree(object); }
};

/// Owner of an object and all that is nested in it.
using OwnedObject = std::unique_ptr<SDOConfig, FreeObject>;

constexpr uint32_t kEmptyBinarySize = 8;
constexpr uint32_t kInlineValueMax = 4;  // values up to this size sit inside their 8-byte entry
constexpr uint32_t kEntryCountMax = 65535;
constexpr uint32_t kNestedSize = sizeof(SDOConfig *);

constexpr bool isValidFieldID(uint16_t fieldID)
{
  return fieldID >= 1 && fieldID <= SDO_FIELD_ID_MAX;
}

constexpr bool holdsObjects(uint8_t type)
{
  return (type & SDO_TYPE_MASK) == SDO_TYPE_CONFIG;
}

constexpr bool holdsBinary(uint8_t type)
{
  return (type & SDO_TYPE_MASK) == SDO_TYPE_BINARY;
}

constexpr bool isArray(uint8_t type)
{
  return (type & SDO_TYPE_ARRAY) != 0;
}

/// The same type with other low bits.
constexpr uint8_t withLowBits(uint8_t type, uint32_t lowBits)
{
  return static_cast<uint8_t>((type & ~SDO_TYPE_MASK) | lowBits);
}

inline uint8_t *valueOf(SDOConfigEntry *entry)
{
  return reinterpret_cast<uint8_t *>(entry + 1);
}

inline const uint8_t *valueOf(const SDOConfigEntry *entry)
{
  return reinterpret_cast<const uint8_t *>(entry + 1);
}

inline SDOConfigEntry *entryOf(const tree::Node *node)
{
  return static_cast<SDOConfigEntry *>(node->data);
}

/// The number of object pointers in a value of nested objects. One object is one pointer, whatever size its caller gave.
constexpr uint32_t nestedCount(uint8_t type, uint32_t dataSize)
{
  return isArray(type) ? dataSize / kNestedSize : 1;
}

/// The index-th object pointer of a value, which need not be aligned.
inline SDOConfig *nestedAt(const uint8_t *value, uint32_t index)
{
  SDOConfig *object;
  memcpy(&object, value + size_t{index} * kNestedSize, kNestedSize);
  return object;
}

inline void setNestedAt(uint8_t *value, uint32_t index, SDOConfig *object)
{
  memcpy(value + size_t{index} * kNestedSize, &object, kNestedSize);
}

// A node of an object has its entry's field ID after its colour, in memory that the heap rounds up to anyway: a search
// reads nodes alone.
constexpr size_t kNodeKeyOffset = offsetof(tree::Node, color) + sizeof(tree::Node::color);
constexpr size_t kNodeSize = std::max(sizeof(tree::Node), kNodeKeyOffset + sizeof(uint32_t));

inline uint32_t keyOf(const tree::Node *node)
{
  uint32_t key;
  memcpy(&key, reinterpret_cast<const uint8_t *>(node) + kNodeKeyOffset, sizeof key);
  return key;
}

/// Makes a node the one of an entry.
inline void setEntry(tree::Node *node, SDOConfigEntry *entry)
{
  const uint32_t key = entry->fieldID;
  node->data = entry;
  memcpy(reinterpret_cast<uint8_t *>(node) + kNodeKeyOffset, &key, sizeof key);
}

/// A new red node for an entry; null when the heap is exhausted.
tree::Node *allocateNode(tree::Node *parent, SDOConfigEntry *entry);

/// The node of a field's entry, null if there is none. It branches: those who ask mostly ask for the same fields.
inline const tree::Node *find(const SDOConfig &object, uint32_t fieldID)
{
  const tree::Node *node = object.root;
  while (node != nullptr) {
    const uint32_t key = keyOf(node);
    if (fieldID < key) {
      node = node->left;
    } else if (fieldID > key) {
      node = node->right;
    } else {
      break;
    }
  }
  return node;
}

/// Where the entry of a field ID is, or would be. Which child comes next is computed: nothing predicts where new fields
/// go.
inline tree::Place locate(const SDOConfig &object, uint32_t fieldID)
{
  static_assert(offsetof(tree::Node, right) == offsetof(tree::Node, left) + sizeof(tree::Node *));
  tree::Place place = {nullptr, nullptr, false};
  for (tree::Node *node = object.root; node != nullptr;) {
    const uint32_t key = keyOf(node);
    if (key == fieldID) {
      place.found = node;
      break;
    }
    place.parent = node;
    place.leftOfParent = fieldID < key;
    const size_t child = offsetof(tree::Node, left) + (fieldID > key ? sizeof(tree::Node *) : 0);
    memcpy(&node, reinterpret_cast<const uint8_t *>(node) + child, sizeof node);
  }
  return place;
}

/// A new entry whose value the caller fills in; null when the heap is exhausted.
SDOConfigEntry *allocateEntry(uint16_t fieldID, uint8_t type, uint32_t dataSize);

/// Adds a value. See SDOConfigAddData.
Status add(SDOConfig &object, uint16_t fieldID, uint8_t type, const void *value, uint32_t dataSize, bool replace);

// The size rules of the binary form.

/// What an entry takes whose value takes `dataBinSize` bytes: a short value is inside the entry.
constexpr uint32_t entrySizeOf(uint32_t dataBinSize)
{
  constexpr uint32_t kBinaryEntrySize = 8;
  return dataBinSize <= kInlineValueMax ? kBinaryEntrySize : clampSize(uint64_t{dataBinSize} + kBinaryEntrySize);
}

/// What a value of nested objects takes beside the objects themselves.
constexpr uint32_t sizeBesideObjects(uint8_t type)
{
  return isArray(type) ? kEmptyBinarySize : 0;
}

/// What a stored value takes. A sum of nested objects that passes `limit` is not counted to its end.
inline uint32_t dataBinSize(uint8_t type, const uint8_t *value, uint32_t dataSize, uint32_t limit = UINT32_MAX)
{
  if (!holdsObjects(type)) {
    return dataSize;
  }
  uint64_t total = sizeBesideObjects(type);
  const uint32_t count = nestedCount(type, dataSize);
  for (uint32_t i = 0; i < count && total <= limit; ++i) {
    if (const SDOConfig *nested = nestedAt(value, i)) {
      total += nested->binarySize;
    }
  }
  return clampSize(total);
}

inline uint32_t entrySizeOf(const SDOConfigEntry &entry)
{
  return entrySizeOf(dataBinSize(entry.type, valueOf(&entry), entry.dataSize));
}

}  // namespace qv::sdo
