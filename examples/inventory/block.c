// Blocks in memory, and the few facts of their layout that this program uses; qvsupt32/sdo.h describes the whole.
#include "block.h"

#include <stdlib.h>

enum {
  kTotalSizeOffset = 6,  // in the header
  kEntrySize = 8,
  kFlagsOffset = 3,  // in an entry
  kPositionOffset = 6,
  kOutOfLine = 0x04,
};

static uint16_t loadNumber16(const uint8_t *from)
{
  return (uint16_t)(from[0] | from[1] << 8);
}

uint32_t flatten(const SDOConfig *object, Block *block)
{
  const int32_t size = SDOConfigGetBinarySize(object);
  if (size < 0) {
    return SM_STATUS_INVALID_PARAMETER;
  }
  *block = (Block){.bytes = malloc((size_t)size), .size = (uint32_t)size};
  if (block->bytes == NULL) {
    return SM_STATUS_NO_MEMORY;
  }
  const uint32_t status = SDOConfigToBinary(object, block->bytes, &block->size);
  if (status != SM_STATUS_SUCCESS) {
    freeBlock(block);
  }
  return status;
}

void freeBlock(Block *block)
{
  free(block->bytes);
  *block = (Block){0};
}

uint32_t blockSize(const uint8_t *header)
{
  return loadNumber16(header + kTotalSizeOffset);
}

uint16_t damageBlock(Block *block)
{
  const int32_t count = SDOBinaryGetCount(block->bytes);
  for (int32_t i = 0; i < count; ++i) {
    uint8_t *entry = block->bytes + kBlockHeaderSize + i * kEntrySize;
    if ((entry[kFlagsOffset] & kOutOfLine) != 0) {
      entry[kPositionOffset] = 0xFF;
      entry[kPositionOffset + 1] = 0xFF;
      return loadNumber16(entry);
    }
  }
  return 0;
}
