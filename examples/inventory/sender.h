// The sending side, the second process: collects, builds, flattens, hands over, and checks the answer.
#pragma once

#include "parameters.h"

// Returns the exit status of the program.
int runSender(const Parameters *parameters);
