// The receiving side, the first process: makes the room, starts the sender, takes one block from it, shows what it
// holds, edits and answers it.
#pragma once

#include "parameters.h"

// Returns the exit status of the program. The sender is started with the same arguments.
int runReceiver(const Parameters *parameters, int count, char *const *arguments);
