// The sending side: collects, builds, flattens, hands over, and checks the answer.
#pragma once

#include <stdbool.h>

// Returns the exit status of the program. With corrupt, the block is damaged before it goes out.
int runSender(bool corrupt);
