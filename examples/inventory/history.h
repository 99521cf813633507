// The runs of the inventory in a key=value file of the suite, "history.cfg" in its directory "ini": how many there
// were, and a line for each of the last ones. The file is one that administrators write to as well.
#pragma once

#include <stdbool.h>
#include <stdint.h>

// Counts a run and adds its line, with the time and the checksum of its block, and removes the oldest lines beyond the
// length. A file that is missing is made by nobody but the administrator: there is nothing to do then. False, and what
// is wrong has been said, when the file cannot be written.
bool noteRun(const char *side, uint32_t checksum, uint32_t length);
