// One value of an object or of a block, read without knowing its size beforehand.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "qvsupt32.h"

typedef struct Value {
  uint8_t *bytes;  // owned; a zero byte that size does not count follows them
  uint32_t size;
  uint8_t type;
} Value;

// Read a field of a block, or the entry at an index of an object. Both return a status of the library, and on success
// a value that is freed with freeValue(). Objects nested in an object stay that object's.
uint32_t readField(const void *binary, uint16_t fieldID, Value *value);
uint32_t readEntry(const SDOConfig *object, uint32_t index, uint16_t *fieldID, Value *value);

// Reads a nested block and makes sure that it is as large as it says, so that it can be read like any other.
uint32_t readNested(const void *binary, uint16_t fieldID, Value *value);

void freeValue(Value *value);

// The 32-bit number that the value is. False when it is none.
bool asNumber32(const Value *value, uint32_t *number);

// The text that the value is, null when it is none or lacks its terminator.
const char *asText(const Value *value);

// True when the value is one of the typed values of the schema and has their size.
bool isTyped(const Value *value);

// Writes a typed value as text, any other as a hexadecimal dump, whose lines end in a carriage return and a line feed.
// Returns a status of the library, and on success a text that is freed with free(3).
uint32_t writeValue(const Value *value, char **text);
