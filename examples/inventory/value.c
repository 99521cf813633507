// Reading in two steps, the size first: a call without a buffer answers SM_STATUS_BUFFER_TOO_SMALL and the size needed.
#include "value.h"

#include <stdlib.h>
#include <string.h>

#include "block.h"
#include "schema.h"

static bool makeRoom(Value *value, uint32_t size)
{
  *value = (Value){.bytes = calloc((size_t)size + 1, 1), .size = size};
  return value->bytes != NULL;
}

uint32_t readField(const void *binary, uint16_t fieldID, Value *value)
{
  uint32_t size = 0;
  uint32_t status = SDOBinaryGetDataByID(binary, fieldID, NULL, NULL, &size);
  if (status != SM_STATUS_BUFFER_TOO_SMALL) {
    return status;
  }
  if (!makeRoom(value, size)) {
    return SM_STATUS_NO_MEMORY;
  }
  status = SDOBinaryGetDataByID(binary, fieldID, &value->type, value->bytes, &value->size);
  if (status != SM_STATUS_SUCCESS) {
    freeValue(value);
  }
  return status;
}

uint32_t readEntry(const SDOConfig *object, uint32_t index, uint16_t *fieldID, Value *value)
{
  uint32_t size = 0;
  uint32_t status = SDOConfigGetDataByIndex(object, index, fieldID, NULL, NULL, &size);
  if (status != SM_STATUS_BUFFER_TOO_SMALL) {
    return status;
  }
  if (!makeRoom(value, size)) {
    return SM_STATUS_NO_MEMORY;
  }
  status = SDOConfigGetDataByIndex(object, index, fieldID, &value->type, value->bytes, &value->size);
  if (status != SM_STATUS_SUCCESS) {
    freeValue(value);
  }
  return status;
}

uint32_t readNested(const void *binary, uint16_t fieldID, Value *value)
{
  const uint32_t status = readField(binary, fieldID, value);
  if (status != SM_STATUS_SUCCESS) {
    return status;
  }
  if ((value->type & SDO_TYPE_MASK) != SDO_TYPE_BINARY || value->size < kBlockHeaderSize ||
      blockSize(value->bytes) > value->size) {
    freeValue(value);
    return SM_STATUS_BAD_TYPE;
  }
  return SM_STATUS_SUCCESS;
}

void freeValue(Value *value)
{
  free(value->bytes);
  *value = (Value){0};
}

bool asNumber32(const Value *value, uint32_t *number)
{
  if (value->type != kTypeNumber32 || value->size != sizeof(*number)) {
    return false;
  }
  memcpy(number, value->bytes, sizeof(*number));
  return true;
}

const char *asText(const Value *value)
{
  const bool isText = value->type == kTypeText && value->size > 0 && value->bytes[value->size - 1] == '\0';
  return isText ? (const char *)value->bytes : NULL;
}

bool isTyped(const Value *value)
{
  return typedSize(value->type) != 0 && value->size == typedSize(value->type);
}

uint32_t writeValue(const Value *value, char **text)
{
  const uint32_t type = isTyped(value) ? (uint32_t)(value->type & ~kTypedMark) : SM_TYPE_BINARY;
  uint32_t size = 0;
  uint32_t status = SMXLTTypeValueToUTF8(value->bytes, value->size, NULL, &size, type);
  if (status != SM_STATUS_BUFFER_TOO_SMALL) {
    return status;
  }
  *text = malloc(size);
  if (*text == NULL) {
    return SM_STATUS_NO_MEMORY;
  }
  status = SMXLTTypeValueToUTF8(value->bytes, value->size, *text, &size, type);
  if (status != SM_STATUS_SUCCESS) {
    free(*text);
  }
  return status;
}
