// Chosen facts as typed values in an INI file of the suite, "inventory.ini" in its directory "ini". One process stores
// them there, another reads them back; administrators may write to the file as well.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "block.h"

// Stores those of the facts that the block has. False, and what is wrong has been said, when one cannot be read from
// the block or stored.
bool storeSettings(const char *side, const Block *block);

// Reads the facts back, says them, and compares them with those of the block. False, and what is wrong has been said,
// when one is missing or another.
bool compareSettings(const char *side, const Block *block);

// Says the sections of the file and their keys. False, and why has been said, when they cannot be listed.
bool listSettings(const char *side);

// How many runs the history keeps: an administrator's choice.
uint32_t readHistoryLength(void);
