// Reading what another process wrote. Nothing in the block is trusted: whatever the library refuses is the end of it.
#include "inspect.h"

#include <inttypes.h>
#include <stdio.h>

#include "print.h"
#include "report.h"
#include "schema.h"
#include "value.h"

// A field that is read straight from the binary, and its name in a sentence.
typedef struct Question {
  uint16_t fieldID;
  const char *what;
} Question;

static uint32_t refuse(const char *side, const char *what, uint32_t status)
{
  const char *reason = status == SM_STATUS_BAD_TYPE ? "is malformed" : "cannot be read";
  complain(side, "refused: %s %s (status %" PRIu32 ")", what, reason, status);
  return status;
}

static uint32_t sayField(const char *side, const void *binary, Question question)
{
  Value value;
  uint32_t status = readField(binary, question.fieldID, &value);
  if (status == SM_STATUS_NOT_FOUND) {
    return SM_STATUS_SUCCESS;  // the sender did not know it
  }
  if (status == SM_STATUS_SUCCESS) {
    (void)printf("%s: read in place: %s is ", side, question.what);
    status = printPlain(stdout, &value);
    (void)putchar('\n');
    freeValue(&value);
  }
  return status == SM_STATUS_SUCCESS ? status : refuse(side, question.what, status);
}

static uint32_t sayKernelRelease(const char *side, const void *binary)
{
  Value kernel;
  uint32_t status = readNested(binary, kFieldKernel, &kernel);
  if (status == SM_STATUS_NOT_FOUND) {
    return SM_STATUS_SUCCESS;
  }
  if (status != SM_STATUS_SUCCESS) {
    return refuse(side, "the kernel", status);
  }
  status = sayField(side, kernel.bytes, (Question){kFieldKernelRelease, "the kernel release"});
  freeValue(&kernel);
  return status;
}

static uint32_t sayInterfaceCount(const char *side, const void *binary)
{
  Value interfaces;
  const uint32_t status = readNested(binary, kFieldInterfaces, &interfaces);
  if (status == SM_STATUS_NOT_FOUND) {
    return SM_STATUS_SUCCESS;
  }
  if (status != SM_STATUS_SUCCESS) {
    return refuse(side, "the list of network interfaces", status);
  }
  say(side, "read in place: the number of network interfaces is %" PRId32, SDOBinaryGetCount(interfaces.bytes));
  freeValue(&interfaces);
  return SM_STATUS_SUCCESS;
}

static uint32_t readInPlace(const char *side, const void *binary)
{
  static const Question kQuestions[] = {
      {kFieldHostName, "the host name"},
      {kFieldUptime, "the uptime in seconds"},
      {kFieldLanguage, "the language"},
  };
  for (size_t i = 0; i < sizeof(kQuestions) / sizeof(kQuestions[0]); ++i) {
    const uint32_t status = sayField(side, binary, kQuestions[i]);
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  const uint32_t status = sayKernelRelease(side, binary);
  return status == SM_STATUS_SUCCESS ? sayInterfaceCount(side, binary) : status;
}

static uint32_t printTree(const char *side, const Block *block)
{
  SDOConfig *object = SDOBinaryToConfig(block->bytes);
  if (object == NULL) {
    complain(side, "refused: no object can be made of the block: it is malformed, or memory is short");
    return SM_STATUS_BAD_TYPE;
  }
  say(side, "the object, rebuilt from %" PRIu32 " bytes:", block->size);
  const uint32_t status = printObject(stdout, side, object);
  SDOConfigFree(object);
  return status == SM_STATUS_SUCCESS ? status : refuse(side, "the object", status);
}

uint32_t inspectBlock(const char *side, const Block *block)
{
  uint32_t status = readInPlace(side, block->bytes);
  if (status == SM_STATUS_SUCCESS) {
    status = printTree(side, block);
  }
  if (status != SM_STATUS_SUCCESS) {
    (void)printDump(stderr, side, block->bytes, block->size);
  }
  return status;
}
