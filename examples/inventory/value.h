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

// The number that the value is, of either width. False when it is none.
bool asNumber(const Value *value, uint64_t *number);

// The truth that the value is. False when it is none.
bool asBoolean(const Value *value, bool *truth);

// The text that the value is, null when it is none or lacks its terminator.
const char *asText(const Value *value);
