// The receiver. It trusts nothing in the block: whatever the library refuses ends it with a message and exit status 1.
#include "receiver.h"

#include <errno.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "block.h"
#include "checksum.h"
#include "child.h"
#include "object.h"
#include "pipe.h"
#include "print.h"
#include "report.h"
#include "schema.h"
#include "value.h"

static const char kSide[] = "receiver";

// By hand, the answer's descriptor could be any file, even one of the library's own.
static bool canAnswer(void)
{
  struct stat status;
  return fstat(kAnswerDescriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

static bool refuse(const char *what, uint32_t status)
{
  const char *reason = status == SM_STATUS_BAD_TYPE ? "is malformed" : "cannot be read";
  complain(kSide, "refused: %s %s (status %" PRIu32 ")", what, reason, status);
  return false;
}

// Says a field that was read straight from the binary, or a field of a block nested there.
static bool sayField(const void *binary, uint16_t fieldID, const char *what)
{
  Value value;
  const uint32_t status = readField(binary, fieldID, &value);
  if (status == SM_STATUS_NOT_FOUND) {
    return true;  // the sender did not know it
  }
  if (status != SM_STATUS_SUCCESS) {
    return refuse(what, status);
  }
  (void)printf("%s: read in place: %s is ", kSide, what);
  const uint32_t printed = printPlain(stdout, &value);
  (void)putchar('\n');
  freeValue(&value);
  return printed == SM_STATUS_SUCCESS || refuse(what, printed);
}

static bool sayKernelRelease(const void *binary)
{
  Value kernel;
  const uint32_t status = readNested(binary, kFieldKernel, &kernel);
  if (status == SM_STATUS_NOT_FOUND) {
    return true;
  }
  if (status != SM_STATUS_SUCCESS) {
    return refuse("the kernel", status);
  }
  const bool said = sayField(kernel.bytes, kFieldKernelRelease, "the kernel release");
  freeValue(&kernel);
  return said;
}

static bool sayInterfaceCount(const void *binary)
{
  Value interfaces;
  const uint32_t status = readNested(binary, kFieldInterfaces, &interfaces);
  if (status == SM_STATUS_NOT_FOUND) {
    return true;
  }
  if (status != SM_STATUS_SUCCESS) {
    return refuse("the list of network interfaces", status);
  }
  say(kSide, "read in place: the number of network interfaces is %" PRId32, SDOBinaryGetCount(interfaces.bytes));
  freeValue(&interfaces);
  return true;
}

static bool readInPlace(const Block *block)
{
  return sayField(block->bytes, kFieldHostName, "the host name") &&
         sayField(block->bytes, kFieldUptime, "the uptime in seconds") && sayKernelRelease(block->bytes) &&
         sayInterfaceCount(block->bytes);
}

static bool printTree(const Block *block)
{
  SDOConfig *object = SDOBinaryToConfig(block->bytes);
  if (object == NULL) {
    complain(kSide, "refused: no object can be made of the block: it is malformed, or memory is short");
    return false;
  }
  say(kSide, "the object, rebuilt from %" PRIu32 " bytes:", block->size);
  const uint32_t status = printObject(stdout, kSide, object);
  SDOConfigFree(object);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot print the object: status %" PRIu32, status);
  }
  return status == SM_STATUS_SUCCESS;
}

static bool edit(Block *block)
{
  const uint32_t ownID = (uint32_t)getpid();
  const uint32_t status = markReceived(block, ownID);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot edit the block: status %" PRIu32, status);
    return false;
  }
  say(kSide, "edited in place: %s is now %" PRIu32, fieldName(kFieldReceiver), ownID);
  return true;
}

static bool answer(const Block *block)
{
  const uint32_t checksum = adler32(block->bytes, block->size);
  Block reply;
  const uint32_t status = buildAnswer(checksum, &reply);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot build the answer: status %" PRIu32, status);
    return false;
  }
  say(kSide, "answering: Adler-32 of the edited block is %08" PRIx32, checksum);
  const bool sent = sendBlock(kAnswerDescriptor, &reply);
  if (!sent) {
    complain(kSide, "cannot answer: %s", strerror(errno));
  }
  freeBlock(&reply);
  return sent;
}

int runReceiver(void)
{
  if (!canAnswer()) {
    complain(kSide, "no pipe for the answer: \"inventory\" starts the receiver itself");
    return EXIT_FAILURE;
  }
  Block block;
  const Arrival arrival = receiveBlock(STDIN_FILENO, &block);
  if (arrival != kArrived) {
    complain(kSide, "refused: %s", describeArrival(arrival));
    return EXIT_FAILURE;
  }
  say(kSide, "received %" PRIu32 " bytes", block.size);
  const bool understood = readInPlace(&block) && printTree(&block);
  if (!understood) {
    (void)printDump(stderr, kSide, block.bytes, block.size);
  }
  const bool done = understood && edit(&block) && answer(&block);
  freeBlock(&block);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
