// The tree printer. It takes the types of the values from the object and only the names from the schema.
#include "print.h"

#include <inttypes.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>

#include "schema.h"
#include "text.h"

enum { kDepthMax = 10 };

typedef struct Printer {
  FILE *stream;
  const char *label;
} Printer;

static uint32_t printEntries(const Printer *printer, const SDOConfig *object, int depth);

static void startLine(const Printer *printer, int depth)
{
  (void)fprintf(printer->stream, "%s:%*s", printer->label, 2 * depth + 1, "");
}

static void printName(const Printer *printer, uint16_t fieldID)
{
  const char *name = fieldName(fieldID);
  if (name != NULL) {
    (void)fprintf(printer->stream, "%s:", name);
  } else {
    (void)fprintf(printer->stream, "field %u:", (unsigned)fieldID);
  }
}

// True for the control characters of ASCII and of the block behind it, U+0080 to U+009F.
static bool isControl(const char *character, size_t length)
{
  const uint8_t first = (uint8_t)character[0];
  return length == 1 ? first < 0x20 || first == 0x7F : first == 0xC2 && (uint8_t)character[1] < 0xA0;
}

void printText(FILE *stream, const char *text, size_t size)
{
  for (size_t i = 0; i < size;) {
    const size_t length = utf8Length(text + i, size - i);
    if (length > 0 && !isControl(text + i, length)) {
      (void)fwrite(text + i, 1, length, stream);
      i += length;
    } else {
      (void)fprintf(stream, "\\x%02x", (unsigned)(uint8_t)text[i]);
      ++i;
    }
  }
}

// Prints a value that is no text on one line.
static uint32_t printTyped(FILE *stream, const Value *value)
{
  if (!isTyped(value)) {
    (void)fprintf(stream, "%" PRIu32 " bytes of type %u", value->size, (unsigned)value->type);
    return SM_STATUS_SUCCESS;
  }
  char *text;
  const uint32_t status = writeValue(value, &text);
  if (status == SM_STATUS_SUCCESS) {
    (void)fputs(text, stream);
    free(text);
  }
  return status;
}

uint32_t printPlain(FILE *stream, const Value *value)
{
  const char *text = asText(value);
  if (text == NULL) {
    return printTyped(stream, value);
  }
  printText(stream, text, value->size - 1);
  return SM_STATUS_SUCCESS;
}

static uint32_t dumpAt(const Printer *printer, const uint8_t *bytes, uint32_t size, int depth)
{
  enum { kShown = 64 };
  const Value head = {.bytes = (uint8_t *)bytes, .size = size < kShown ? size : kShown};
  char *dump;
  const uint32_t status = writeValue(&head, &dump);
  if (status != SM_STATUS_SUCCESS) {
    return status;
  }
  char *cursor = dump;
  for (const char *line = strsep(&cursor, "\r"); cursor != NULL; line = strsep(&cursor, "\r")) {
    startLine(printer, depth);
    (void)fprintf(printer->stream, "%s\n", line);
    ++cursor;  // over the line feed
  }
  free(dump);
  if (size > kShown) {
    startLine(printer, depth);
    (void)fputs("...\n", printer->stream);
  }
  return SM_STATUS_SUCCESS;
}

// The value of nested objects is their pointers, of which there is one without SDO_TYPE_ARRAY.
static SDOConfig *nestedAt(const Value *value, uint32_t index)
{
  SDOConfig *object;
  memcpy(&object, value->bytes + index * sizeof(object), sizeof(object));
  return object;
}

static uint32_t printArray(const Printer *printer, const Value *value, int depth)
{
  const uint32_t count = value->size / (uint32_t)sizeof(SDOConfig *);
  (void)fprintf(printer->stream, " %" PRIu32 "\n", count);
  for (uint32_t i = 0; i < count; ++i) {
    startLine(printer, depth);
    (void)fprintf(printer->stream, "[%" PRIu32 "]\n", i);
    const uint32_t status = printEntries(printer, nestedAt(value, i), depth + 1);
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  return SM_STATUS_SUCCESS;
}

static uint32_t printLeaf(const Printer *printer, const Value *value, int depth)
{
  (void)fputc(' ', printer->stream);
  const uint32_t status = printPlain(printer->stream, value);
  (void)fputc('\n', printer->stream);
  const bool told = asText(value) != NULL || isTyped(value);
  return status != SM_STATUS_SUCCESS || told ? status : dumpAt(printer, value->bytes, value->size, depth + 1);
}

static uint32_t printValue(const Printer *printer, const Value *value, int depth)
{
  if ((value->type & SDO_TYPE_MASK) != SDO_TYPE_CONFIG) {
    return printLeaf(printer, value, depth);
  }
  if ((value->type & SDO_TYPE_ARRAY) != 0) {
    return printArray(printer, value, depth + 1);
  }
  (void)fputc('\n', printer->stream);
  return printEntries(printer, nestedAt(value, 0), depth + 1);
}

static uint32_t printEntries(const Printer *printer, const SDOConfig *object, int depth)
{
  if (depth > kDepthMax) {
    startLine(printer, depth);
    (void)fputs("...\n", printer->stream);
    return SM_STATUS_SUCCESS;
  }
  const int32_t count = SDOConfigGetCount(object);
  for (int32_t i = 0; i < count; ++i) {
    uint16_t fieldID;
    Value value;
    uint32_t status = readEntry(object, (uint32_t)i, &fieldID, &value);
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
    startLine(printer, depth);
    printName(printer, fieldID);
    status = printValue(printer, &value, depth);
    freeValue(&value);
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  return SM_STATUS_SUCCESS;
}

uint32_t printObject(FILE *stream, const char *label, const SDOConfig *object)
{
  const Printer printer = {.stream = stream, .label = label};
  return printEntries(&printer, object, 1);
}

uint32_t printDump(FILE *stream, const char *label, const uint8_t *bytes, uint32_t size)
{
  const Printer printer = {.stream = stream, .label = label};
  return dumpAt(&printer, bytes, size, 1);
}
