// The exported parts of the objects: the sizes of entries, and the callbacks through which callers keep entries in trees
// of their own.

#include <cstdlib>

#include "sdo/config.h"

namespace {

namespace sdo = qv::sdo;

template <class T>
int32_t compare(T a, T b)
{
  return (a > b) - (a < b);
}

constexpr int32_t kGoOn = -1;

uint32_t store(uint32_t size, uint32_t *out)
{
  if (out != nullptr) {
    *out = size;
  }
  return size;
}

}  // namespace

SMBool BSOCIsFieldIDValid(uint16_t fieldID)
{
  return sdo::isValidFieldID(fieldID) ? 1 : 0;
}

uint32_t CalcSDOEntrySizeByDataBinSize(uint32_t n)
{
  return sdo::entrySizeOf(n);
}

uint32_t CalcDataBinSizeByType(uint8_t type, const void *value, uint32_t dataSize, uint32_t *size)
{
  return store(sdo::dataBinSize(type, static_cast<const uint8_t *>(value), dataSize), size);
}

uint32_t CalcSDOEntrySizeByType(uint8_t type, const void *value, uint32_t dataSize, uint32_t *size)
{
  const auto *bytes = static_cast<const uint8_t *>(value);
  return store(sdo::entrySizeOf(sdo::dataBinSize(type, bytes, dataSize)), size);
}

int32_t BSOCu8WalkCompare(uint8_t a, uint8_t b)
{
  return compare(a, b);
}

int32_t BSOCu16WalkCompare(uint16_t a, uint16_t b)
{
  return compare(a, b);
}

int32_t BSOCu32WalkCompare(uint32_t a, uint32_t b)
{
  return compare(a, b);
}

int32_t BSOCWalkInsert(void *keyEntry, void *nodeEntry)
{
  return compare(static_cast<const SDOConfigEntry *>(keyEntry)->fieldID,
                 static_cast<const SDOConfigEntry *>(nodeEntry)->fieldID);
}

int32_t BSOCWalkNodeDataQuery(void *query, void *nodeEntry)
{
  auto *sought = static_cast<SDOConfigQuery *>(query);
  switch (sought->kind) {
    case SDO_QUERY_BY_ID:
      return compare(sought->fieldID, static_cast<const SDOConfigEntry *>(nodeEntry)->fieldID);
    case SDO_QUERY_BY_INDEX: {
      const int32_t order = compare(sought->targetIndex, sought->counter);
      if (order != 0) {
        ++sought->counter;
      }
      return order;
    }
    default:
      return kGoOn;
  }
}

int32_t BSOCWalkRemoveByFieldID(void *query, void *nodeEntry)
{
  auto *sought = static_cast<SDOConfigQuery *>(query);
  auto *entry = static_cast<SDOConfigEntry *>(nodeEntry);
  const int32_t order = compare(sought->fieldID, entry->fieldID);
  if (order == 0) {
    sought->matched = entry;
  }
  return order;
}

int32_t BSOCWalkRemoveByIndex(void *query, void *nodeEntry)
{
  auto *sought = static_cast<SDOConfigQuery *>(query);
  const int32_t order = compare(sought->targetIndex, sought->counter);
  if (order == 0) {
    sought->matched = static_cast<SDOConfigEntry *>(nodeEntry);
  } else {
    ++sought->counter;
  }
  return order;
}

void BSOCConfigDataPointerFree(SDOConfigEntry *entry)
{
  if (!sdo::holdsObjects(entry->type)) {
    return;
  }
  for (uint32_t i = 0; i < sdo::nestedCount(entry->type, entry->dataSize); ++i) {
    SDOConfigFree(sdo::nestedAt(sdo::valueOf(entry), i));
    sdo::setNestedAt(sdo::valueOf(entry), i, nullptr);
  }
}

int32_t BSOCNotifyDelNodeData(void *, void *entry)
{
  BSOCConfigDataPointerFree(static_cast<SDOConfigEntry *>(entry));
  free(entry);
  return 0;
}

int32_t BSOCWalkCalculateBinarySize(void *total, void *entry)
{
  *static_cast<uint32_t *>(total) += sdo::entrySizeOf(*static_cast<const SDOConfigEntry *>(entry));
  return kGoOn;
}
