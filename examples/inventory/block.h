// An object in its flat binary form, as it lies in memory and travels between processes.
//
// The library reads a block up to the total size that the block itself gives. Whoever takes a block from outside
// therefore compares that size with the bytes that are there, once, before the first read: blockSize() is for that.
#pragma once

#include <stdint.h>

#include "qvsupt32.h"

enum { kBlockHeaderSize = 8 };

typedef struct Block {
  uint8_t *bytes;
  uint32_t size;
} Block;

// Writes the object into a new block, freed with freeBlock(). Returns a status of the library.
uint32_t flatten(const SDOConfig *object, Block *block);

// Frees the bytes; an empty block and a freed one are fine.
void freeBlock(Block *block);

// The total size that a header of kBlockHeaderSize bytes gives.
uint32_t blockSize(const uint8_t *header);

// Breaks the block: the first value that lies outside the entry table now starts beyond the end of any block. Returns
// the field ID of that value, 0 when there is none.
uint16_t damageBlock(Block *block);
