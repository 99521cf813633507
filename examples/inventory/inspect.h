// What the receiver does to understand a block: reads some fields in place, and rebuilds and prints the whole.
#pragma once

#include <stdint.h>

#include "block.h"

// Returns a status of the library; anything but success means that the block is refused, and why has been said.
uint32_t inspectBlock(const char *side, const Block *block);
