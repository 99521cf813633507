// The facts as a self-describing object, and the two other things that are said or done with objects on this road: the
// receiver's mark in the block, and its answer. Every function returns a status of the library.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "block.h"
#include "facts.h"
#include "qvsupt32.h"

typedef struct Inventory {
  SDOConfig *object;  // freed with SDOConfigFree
  size_t interfacesLeftOut;
  size_t fileSystemsLeftOut;
} Inventory;

// Builds the object. Where a list is longer than an object can hold, its end is left out and counted.
uint32_t buildInventory(const Facts *facts, uint32_t language, Inventory *inventory);

// Puts a process ID into the block's receiver field, in place. Both sides do this, each to its own copy.
uint32_t markReceived(Block *block, uint32_t processID);

// Makes the receiver's answer: an object with the checksum alone, flattened.
uint32_t buildAnswer(uint32_t checksum, Block *answer);
