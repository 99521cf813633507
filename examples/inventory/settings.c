// The INI file. Facts keep their types on the way: the type in the block tells the type in the file.
#include "settings.h"

#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "print.h"
#include "report.h"
#include "schema.h"
#include "value.h"

enum { kWaitForLock = 1 };

// The library finds the suite's directory and adds "ini" to it.
static const char kFile[] = "inventory.ini";

// Where a fact stands in the file and in the block.
typedef struct Fact {
  const char *section;
  const char *key;
  uint16_t objectID;  // of the nested object, 0 for the outermost
  uint16_t fieldID;
} Fact;

static const Fact kFacts[] = {
    {"Machine", "HostName", 0, kFieldHostName},
    {"Machine", "Kernel", kFieldKernel, kFieldKernelRelease},
    {"Machine", "Collected", 0, kFieldCollected},
    {"Processor", "Online", kFieldProcessor, kFieldProcessorsOnline},
    {"Processor", "Load", kFieldProcessor, kFieldLoad},
    {"Memory", "TotalBytes", kFieldMemory, kFieldMemoryTotal},
    {"Memory", "SwapPresent", kFieldMemory, kFieldSwapPresent},
};
static const size_t kFactCount = sizeof(kFacts) / sizeof(kFacts[0]);

// The type in the file for a type in the block, 0 for one that none of the facts has.
static int32_t iniType(uint8_t type)
{
  switch (type) {
    case kTypeText:
      return SM_INI_TYPE_ASTRING;
    case kTypeBoolean:
      return SM_INI_TYPE_BOOLN;
    case kTypeNumber32:
      return SM_INI_TYPE_U32;
    case kTypeNumber64:
      return SM_INI_TYPE_U64;
    case kTypeFraction:
      return SM_INI_TYPE_D64;
    case kTypeTime:
      return SM_INI_TYPE_S32;
    default:
      return 0;
  }
}

static uint32_t readFact(const Block *block, const Fact *fact, Value *value)
{
  if (fact->objectID == 0) {
    return readField(block->bytes, fact->fieldID, value);
  }
  Value object;
  uint32_t status = readNested(block->bytes, fact->objectID, &object);
  if (status == SM_STATUS_SUCCESS) {
    status = readField(object.bytes, fact->fieldID, value);
    freeValue(&object);
  }
  return status;
}

static bool storeFact(const char *side, const Fact *fact, const Value *value)
{
  const uint32_t status = SMWriteINIFileValue(fact->section, fact->key, iniType(value->type), value->bytes, value->size,
                                              kFile, kWaitForLock);
  if (status != SM_STATUS_SUCCESS) {
    complain(side, "cannot store %s of [%s]: status %" PRIu32, fact->key, fact->section, status);
  }
  return status == SM_STATUS_SUCCESS;
}

static bool agree(const Value *sent, const Value *stored)
{
  if (sent->type != kTypeFraction) {
    return sent->size == stored->size && memcmp(sent->bytes, stored->bytes, sent->size) == 0;
  }
  const double lastDecimal = 1e-8;  // the file has eight
  double first;
  double second;
  memcpy(&first, sent->bytes, sizeof(first));
  memcpy(&second, stored->bytes, sizeof(second));
  return first - second < lastDecimal && second - first < lastDecimal;
}

// Reads the value back into one that has the type and the size of that which was sent.
static bool compareFact(const char *side, const Fact *fact, const Value *sent)
{
  Value stored = {.bytes = calloc(sent->size, 1), .size = sent->size, .type = sent->type};
  if (stored.bytes == NULL) {
    complain(side, "cannot read %s of [%s]: memory is short", fact->key, fact->section);
    return false;
  }
  const uint32_t status = SMReadINIFileValue(fact->section, fact->key, iniType(sent->type), stored.bytes, &stored.size,
                                             NULL, 0, kFile, kWaitForLock);
  const bool same = status == SM_STATUS_SUCCESS && agree(sent, &stored);
  if (same) {
    (void)printf("%s: read back: %s of [%s] is ", side, fact->key, fact->section);
    (void)printPlain(stdout, &stored);
    (void)putchar('\n');
  } else {
    complain(side, "%s of [%s] is not what was sent (status %" PRIu32 ")", fact->key, fact->section, status);
  }
  freeValue(&stored);
  return same;
}

// Does something with every fact that the block has.
static bool forEachFact(const char *side, const Block *block,
                        bool (*visit)(const char *side, const Fact *fact, const Value *value))
{
  bool done = true;
  for (size_t i = 0; i < kFactCount; ++i) {
    Value value;
    const uint32_t status = readFact(block, &kFacts[i], &value);
    if (status == SM_STATUS_SUCCESS) {
      done = visit(side, &kFacts[i], &value) && done;
      freeValue(&value);
    } else if (status != SM_STATUS_NOT_FOUND) {  // what the sender did not know is nowhere
      complain(side, "cannot take %s from the block: status %" PRIu32, kFacts[i].key, status);
      done = false;
    }
  }
  return done;
}

bool storeSettings(const char *side, const Block *block)
{
  const bool stored = forEachFact(side, block, storeFact);
  if (stored) {
    say(side, "stored the facts in %s", kFile);
  }
  return stored;
}

bool compareSettings(const char *side, const Block *block)
{
  return forEachFact(side, block, compareFact);
}

// Reads the names of all sections, or of the keys of one, each with its terminator and one terminator more at the end.
// Returns a status of the library, and on success a list that is freed with free(3).
static uint32_t readNames(const char *section, char **names)
{
  uint32_t capacity = 64;
  for (;;) {
    *names = malloc(capacity);
    if (*names == NULL) {
      return SM_STATUS_NO_MEMORY;
    }
    uint32_t size = capacity;
    const uint32_t status =
        SMReadINIFileValue(section, NULL, SM_INI_TYPE_ASTRING, *names, &size, NULL, 0, kFile, kWaitForLock);
    if (status == SM_STATUS_SUCCESS) {
      return status;
    }
    free(*names);
    if (status != SM_STATUS_BUFFER_TOO_SMALL) {
      return status;
    }
    capacity = size + 1;  // the size does not count the last terminator
  }
}

static bool listKeys(const char *side, const char *section)
{
  char *keys;
  const uint32_t status = readNames(section, &keys);
  if (status == SM_STATUS_KEY_NOT_FOUND) {
    say(side, "listed: [%s] has no keys", section);
    return true;
  }
  if (status != SM_STATUS_SUCCESS) {
    complain(side, "cannot list the keys of [%s]: status %" PRIu32, section, status);
    return false;
  }
  (void)printf("%s: listed: [%s] has", side, section);
  for (const char *key = keys; *key != '\0'; key += strlen(key) + 1) {
    (void)fputs(" \"", stdout);
    printText(stdout, key, strlen(key));
    (void)putchar('"');
  }
  (void)putchar('\n');
  free(keys);
  return true;
}

bool listSettings(const char *side)
{
  char *sections;
  const uint32_t status = readNames(NULL, &sections);
  if (status != SM_STATUS_SUCCESS) {
    complain(side, "cannot list the sections of %s: status %" PRIu32, kFile, status);
    return false;
  }
  bool listed = true;
  for (const char *section = sections; *section != '\0'; section += strlen(section) + 1) {
    listed = listKeys(side, section) && listed;
  }
  free(sections);
  return listed;
}

uint32_t readHistoryLength(void)
{
  static const uint32_t kUnlessTold = 3;
  uint32_t length = kUnlessTold;
  uint32_t size = sizeof(length);
  // Where the file, the section or the key is missing, the default is delivered.
  (void)SMReadINIFileValue("Inventory", "HistoryLength", SM_INI_TYPE_U32, &length, &size, &kUnlessTold,
                           sizeof(kUnlessTold), kFile, kWaitForLock);
  return length;
}
