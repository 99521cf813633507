// What the command line asks for, as name=value parameters.
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

typedef struct Parameters {
  uint32_t language;  // identifier
  bool corrupt;
} Parameters;

// Reads the parameters, count of them, and takes the default of each that is not there. False, and what is wrong has
// been said, for a parameter that is unknown, malformed or there twice.
bool readParameters(int count, char *const *arguments, Parameters *parameters);

void explainUsage(FILE *stream);
