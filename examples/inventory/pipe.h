// Blocks through a pipe. A block tells its own size, so nothing stands around it.
#pragma once

#include <stdbool.h>

#include "block.h"

typedef enum Arrival {
  kArrived,
  kNothingCame,  // the other side closed the pipe before the first byte
  kCutShort,     // it closed the pipe inside a block
  kNoBlock,      // the size that the block gives is smaller than its header
  kReadFailed,   // errno says why
} Arrival;

// Writes a whole block. False, and errno says why, when that fails; EPIPE when nobody reads.
bool sendBlock(int descriptor, const Block *block);

// Reads a whole block, freed with freeBlock(); only kArrived leaves one.
Arrival receiveBlock(int descriptor, Block *block);

// What went wrong, in words; errno must still be that of receiveBlock().
const char *describeArrival(Arrival arrival);
