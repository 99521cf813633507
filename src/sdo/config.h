// The inside of an SDO object, shared by the object's own functions and by the encoder and decoder of its binary form.
#pragma once

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

inline tree::Place locate(const SDOConfig &object, uint16_t fieldID)
{
  return tree::locate<tree::Fetch::none>(object.root, [fieldID](const void *entry) {
    return int32_t{fieldID} - int32_t{static_cast<const SDOConfigEntry *>(entry)->fieldID};
  });
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
