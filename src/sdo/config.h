// The inside of an SDO object, shared by the object's own functions and by the encoder and decoder of its binary form.
#pragma once

#include <cstring>
#include <memory>

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

/// An object that is freed by scope, with all that is nested in it. release() hands it to somebody else.
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

/// How many object pointers a value of nested objects holds.
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

inline tree::Place locate(const SDOConfig &object, uint16_t fieldID)
{
  return tree::locate(object.root, [fieldID](const void *entry) {
    return int32_t{fieldID} - int32_t{static_cast<const SDOConfigEntry *>(entry)->fieldID};
  });
}

/// A new entry with room for a value that the caller fills in; null when the heap is exhausted.
SDOConfigEntry *allocateEntry(uint16_t fieldID, uint8_t type, uint32_t dataSize);

/// What the entries of an object add up to in binary form, counted anew.
uint32_t countBinarySize(const SDOConfig &object);

}  // namespace qv::sdo
