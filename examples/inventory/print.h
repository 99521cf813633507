// An object as an indented tree for people.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include "qvsupt32.h"

// Prints every entry of the object, each line behind the label. The object may have come from anywhere: unknown fields
// and types are printed too, bytes that could steer a terminal are escaped, and levels below the tenth are cut. Returns
// a status of the library.
uint32_t printObject(FILE *stream, const char *label, const SDOConfig *object);

// Prints a text with all but its printable characters escaped.
void printText(FILE *stream, const char *text, size_t size);
