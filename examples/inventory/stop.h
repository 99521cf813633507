// Being told to stop: whoever is still has something to remove.
#pragma once

#include <stdbool.h>

// From now on the signals that tell a program to stop are noted and do nothing else.
void heedSignals(void);

// Whether one has come.
bool isToldToStop(void);
