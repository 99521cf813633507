// Building objects. A builder keeps the first status that is not success and does nothing from then on, so that a list
// of additions reads as what it is, and is asked once, at its end.
#include "object.h"

#include <stdlib.h>
#include <string.h>

#include "schema.h"
#include "value.h"

enum { kKeepOld = 0 };  // the last argument of SDOConfigAddData: every field is added once

typedef struct Builder {
  SDOConfig *object;
  uint32_t status;
} Builder;

typedef Builder (*BuildElement)(const Facts *facts, size_t index);

static Builder startObject(void)
{
  SDOConfig *object = SDOConfigAlloc();
  return (Builder){.object = object, .status = object == NULL ? SM_STATUS_NO_MEMORY : SM_STATUS_SUCCESS};
}

static void add(Builder *builder, uint16_t fieldID, uint8_t type, const void *value, size_t size)
{
  if (builder->status == SM_STATUS_SUCCESS) {
    builder->status = SDOConfigAddData(builder->object, fieldID, type, value, (uint32_t)size, kKeepOld);
  }
}

static void addText(Builder *builder, uint16_t fieldID, const char *text)
{
  if (text != NULL) {
    add(builder, fieldID, kTypeText, text, strlen(text) + 1);
  }
}

static void addNumber32(Builder *builder, uint16_t fieldID, uint32_t number)
{
  add(builder, fieldID, kTypeNumber32, &number, sizeof(number));
}

static void addNumber64(Builder *builder, uint16_t fieldID, uint64_t number)
{
  add(builder, fieldID, kTypeNumber64, &number, sizeof(number));
}

static void addKnownNumber64(Builder *builder, uint16_t fieldID, OptionalNumber number)
{
  if (number.known) {
    addNumber64(builder, fieldID, number.value);
  }
}

static void addBoolean(Builder *builder, uint16_t fieldID, bool value)
{
  const SMBool stored = value ? 1 : 0;
  add(builder, fieldID, kTypeBoolean, &stored, sizeof(stored));
}

// Times are 32 bits wide. One that they cannot hold is left out.
static void addTime(Builder *builder, uint16_t fieldID, time_t time)
{
  const int32_t stored = (int32_t)time;
  if (stored == time) {
    add(builder, fieldID, kTypeTime, &stored, sizeof(stored));
  }
}

// Nests an object, which belongs to its parent from the successful add on. One that nothing is known of is left out.
static void addObject(Builder *parent, uint16_t fieldID, Builder nested)
{
  if (parent->status == SM_STATUS_SUCCESS) {
    parent->status = nested.status;
  }
  const bool empty = SDOConfigGetCount(nested.object) <= 0;
  if (!empty) {
    add(parent, fieldID, kTypeObject, nested.object, sizeof(SDOConfig *));
  }
  if (empty || parent->status != SM_STATUS_SUCCESS) {
    SDOConfigFree(nested.object);
  }
}

// Nests as many of the objects as fit and returns how many those are. The others stay the caller's.
static size_t addFitting(Builder *parent, uint16_t fieldID, SDOConfig *const *objects, size_t count)
{
  // No element takes less than its header, so there is no need to try more than this.
  const size_t most = SDO_BINARY_SIZE_MAX / kBlockHeaderSize;
  for (size_t fitting = count < most ? count : most; fitting > 0; --fitting) {
    const uint32_t status = SDOConfigAddData(parent->object, fieldID, kTypeObjectArray, objects,
                                             (uint32_t)(fitting * sizeof(*objects)), kKeepOld);
    if (status == SM_STATUS_SUCCESS) {
      return fitting;
    }
    if (status != SM_STATUS_LIMIT_EXCEEDED) {
      parent->status = status;
      return 0;
    }
  }
  return 0;
}

// Builds count elements and nests them as an array. Returns how many had to be left out.
static size_t addArray(Builder *parent, uint16_t fieldID, const Facts *facts, size_t count, BuildElement build)
{
  if (parent->status != SM_STATUS_SUCCESS || count == 0) {
    return 0;
  }
  SDOConfig **objects = calloc(count, sizeof(*objects));
  if (objects == NULL) {
    parent->status = SM_STATUS_NO_MEMORY;
    return 0;
  }
  for (size_t i = 0; i < count && parent->status == SM_STATUS_SUCCESS; ++i) {
    const Builder element = build(facts, i);
    objects[i] = element.object;
    parent->status = element.status;
  }
  const size_t added = parent->status == SM_STATUS_SUCCESS ? addFitting(parent, fieldID, objects, count) : 0;
  for (size_t i = added; i < count; ++i) {
    SDOConfigFree(objects[i]);
  }
  free(objects);
  return count - added;
}

static Builder buildKernel(const Facts *facts)
{
  Builder kernel = startObject();
  addText(&kernel, kFieldKernelName, facts->kernelName);
  addText(&kernel, kFieldKernelRelease, facts->kernelRelease);
  addText(&kernel, kFieldKernelVersion, facts->kernelVersion);
  addText(&kernel, kFieldMachine, facts->machine);
  return kernel;
}

static Builder buildProcessor(const Facts *facts)
{
  Builder processor = startObject();
  addText(&processor, kFieldProcessorModel, facts->processorModel);
  if (facts->processorsOnline != 0) {
    addNumber32(&processor, kFieldProcessorsOnline, facts->processorsOnline);
  }
  if (facts->loadKnown) {
    add(&processor, kFieldLoad, kTypeFraction, &facts->load, sizeof(facts->load));
  }
  return processor;
}

static Builder buildMemory(const Facts *facts)
{
  Builder memory = startObject();
  addKnownNumber64(&memory, kFieldMemoryTotal, facts->memoryTotal);
  addKnownNumber64(&memory, kFieldMemoryFree, facts->memoryFree);
  addKnownNumber64(&memory, kFieldMemoryAvailable, facts->memoryAvailable);
  if (facts->swapTotal.known) {
    addBoolean(&memory, kFieldSwapPresent, facts->swapTotal.value != 0);
  }
  addKnownNumber64(&memory, kFieldSwapTotal, facts->swapTotal);
  addKnownNumber64(&memory, kFieldSwapFree, facts->swapFree);
  return memory;
}

static Builder buildInterface(const Facts *facts, size_t index)
{
  const Interface *interface = &facts->interfaces[index];
  Builder element = startObject();
  addText(&element, kFieldInterfaceName, interface->name);
  addNumber32(&element, kFieldInterfaceIndex, interface->index);
  addText(&element, kFieldHardwareAddress, interface->hardwareAddress);
  addBoolean(&element, kFieldInterfaceUp, interface->up);
  if (interface->mtu != 0) {
    addNumber32(&element, kFieldInterfaceMtu, interface->mtu);
  }
  return element;
}

static Builder buildFileSystem(const Facts *facts, size_t index)
{
  const FileSystem *fileSystem = &facts->fileSystems[index];
  Builder element = startObject();
  addText(&element, kFieldDevice, fileSystem->device);
  addText(&element, kFieldMountPoint, fileSystem->mountPoint);
  addText(&element, kFieldFileSystemType, fileSystem->type);
  if (fileSystem->examined) {
    addBoolean(&element, kFieldReadOnly, fileSystem->readOnly);
  }
  if (fileSystem->examined && fileSystem->totalSize != 0) {
    addNumber64(&element, kFieldTotalSize, fileSystem->totalSize);
    addNumber64(&element, kFieldFreeSize, fileSystem->freeSize);
    addNumber64(&element, kFieldAvailableSize, fileSystem->availableSize);
  }
  return element;
}

uint32_t buildInventory(const Facts *facts, uint32_t language, Inventory *inventory)
{
  Builder root = startObject();
  addText(&root, kFieldHostName, facts->hostName);
  addKnownNumber64(&root, kFieldUptime, facts->uptime);
  addObject(&root, kFieldKernel, buildKernel(facts));
  addObject(&root, kFieldProcessor, buildProcessor(facts));
  addObject(&root, kFieldMemory, buildMemory(facts));
  addNumber32(&root, kFieldReceiver, 0);
  add(&root, kFieldLanguage, kTypeLanguage, &language, sizeof(language));
  addTime(&root, kFieldCollected, facts->collected);
  // The lists come last: what can be long takes the room that is left.
  inventory->interfacesLeftOut = addArray(&root, kFieldInterfaces, facts, facts->interfaceCount, buildInterface);
  inventory->fileSystemsLeftOut = addArray(&root, kFieldFileSystems, facts, facts->fileSystemCount, buildFileSystem);
  if (root.status != SM_STATUS_SUCCESS) {
    SDOConfigFree(root.object);
    root.object = NULL;
  }
  inventory->object = root.object;
  return root.status;
}

uint32_t markReceived(Block *block, uint32_t processID)
{
  uint32_t size = block->size;
  return SDOBinarySetData(block->bytes, &size, kFieldReceiver, kTypeNumber32, &processID, sizeof(processID));
}

uint32_t buildAnswer(const Answer *answer, Block *block)
{
  Builder root = startObject();
  addNumber32(&root, kFieldReceiver, answer->receiverID);
  addNumber32(&root, kFieldStatus, answer->status);
  if (answer->status == SM_STATUS_SUCCESS) {
    addNumber32(&root, kFieldChecksum, answer->checksum);
  }
  const uint32_t status = root.status == SM_STATUS_SUCCESS ? flatten(root.object, block) : root.status;
  SDOConfigFree(root.object);
  return status;
}

static uint32_t readNumber32(const Block *block, uint16_t fieldID, uint32_t *number)
{
  Value value;
  const uint32_t status = readField(block->bytes, fieldID, &value);
  if (status != SM_STATUS_SUCCESS) {
    return status;
  }
  const bool isNumber = asNumber32(&value, number);
  freeValue(&value);
  return isNumber ? SM_STATUS_SUCCESS : SM_STATUS_BAD_TYPE;
}

uint32_t readAnswer(const Block *block, Answer *answer)
{
  *answer = (Answer){0};
  uint32_t status = readNumber32(block, kFieldReceiver, &answer->receiverID);
  if (status == SM_STATUS_SUCCESS) {
    status = readNumber32(block, kFieldStatus, &answer->status);
  }
  if (status == SM_STATUS_SUCCESS && answer->status == SM_STATUS_SUCCESS) {
    status = readNumber32(block, kFieldChecksum, &answer->checksum);
  }
  return status;
}
