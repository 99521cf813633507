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

// What the receiver answers.
typedef struct Answer {
  uint32_t receiverID;  // its process ID
  uint32_t status;      // of the library: why it refused the block
  uint32_t checksum;    // of the block as it edited it; only there with success
} Answer;

// Make a block of an answer, and an answer of a block.
uint32_t buildAnswer(const Answer *answer, Block *block);
uint32_t readAnswer(const Block *block, Answer *answer);
