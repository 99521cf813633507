// An object as an indented tree for people, and the pieces of which that is made.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include "qvsupt32.h"
#include "value.h"

// Prints every entry of the object, each line behind the label. The object may have come from anywhere: unknown fields
// and types are printed too, bytes that could steer a terminal are escaped, and levels below the tenth are cut. Returns
// a status of the library.
uint32_t printObject(FILE *stream, const char *label, const SDOConfig *object);

// Prints a value that is not nested, without a line feed: its text, or what it is when it has none.
uint32_t printPlain(FILE *stream, const Value *value);

// Prints the first bytes in hexadecimal, each line behind the label.
uint32_t printDump(FILE *stream, const char *label, const uint8_t *bytes, uint32_t size);

// Prints a text with all but its printable characters escaped.
void printText(FILE *stream, const char *text, size_t size);
