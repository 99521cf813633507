// The sender. It keeps the block that it sends, so that it can make the receiver's edit itself and compare checksums.
#include "sender.h"

#include <errno.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include "block.h"
#include "checksum.h"
#include "child.h"
#include "facts.h"
#include "object.h"
#include "pipe.h"
#include "report.h"
#include "schema.h"
#include "value.h"

static const char kSide[] = "sender";

static void sayLeftOut(size_t leftOut, size_t count, const char *what)
{
  if (leftOut > 0) {
    say(kSide, "left out %zu of %zu %s: a block takes %u bytes", leftOut, count, what, SDO_BINARY_SIZE_MAX);
  }
}

// Turns the facts into a block.
static bool prepareBlock(const Facts *facts, uint32_t language, Block *block)
{
  Inventory inventory;
  uint32_t status = buildInventory(facts, language, &inventory);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot build the object: status %" PRIu32, status);
    return false;
  }
  sayLeftOut(inventory.interfacesLeftOut, facts->interfaceCount, "network interfaces");
  sayLeftOut(inventory.fileSystemsLeftOut, facts->fileSystemCount, "file systems");
  status = flatten(inventory.object, block);
  SDOConfigFree(inventory.object);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot flatten the object: status %" PRIu32, status);
  }
  return status == SM_STATUS_SUCCESS;
}

static bool collectBlock(uint32_t language, Block *block)
{
  Facts facts = {0};
  bool prepared = collectFacts(&facts);
  if (prepared) {
    say(kSide, "found %zu network interfaces and %zu file systems", facts.interfaceCount, facts.fileSystemCount);
    prepared = prepareBlock(&facts, language, block);
  } else {
    complain(kSide, "cannot collect the facts: %s", strerror(errno));
  }
  freeFacts(&facts);
  return prepared;
}

// Sends a copy of the block with one value's position pointing nowhere.
static bool sendDamaged(int descriptor, const Block *block)
{
  Block damaged = {.bytes = malloc(block->size), .size = block->size};
  if (damaged.bytes == NULL) {
    return false;
  }
  memcpy(damaged.bytes, block->bytes, block->size);
  const uint16_t fieldID = damageBlock(&damaged);
  say(kSide, "corrupted on purpose: field %u (%s) now starts past the end of the block", (unsigned)fieldID,
      fieldID == 0 ? "none is there" : fieldName(fieldID));
  const bool sent = sendBlock(descriptor, &damaged);
  const int error = errno;
  freeBlock(&damaged);
  errno = error;
  return sent;
}

static bool sendTo(Child *receiver, const Block *block, bool corrupt)
{
  say(kSide, "sending %" PRIu32 " bytes to process %ld", block->size, (long)receiver->process);
  const bool sent = corrupt ? sendDamaged(receiver->toChild, block) : sendBlock(receiver->toChild, block);
  if (!sent) {
    complain(kSide, "cannot send the block: %s", strerror(errno));
  }
  endInput(receiver);
  return sent;
}

static bool readChecksum(const Block *answer, uint32_t *checksum)
{
  Value value;
  if (readField(answer->bytes, kFieldChecksum, &value) != SM_STATUS_SUCCESS) {
    return false;
  }
  const bool isChecksum = asNumber32(&value, checksum);
  freeValue(&value);
  return isChecksum;
}

static bool receiveChecksum(const Child *receiver, uint32_t *checksum)
{
  Block answer;
  const Arrival arrival = receiveBlock(receiver->fromChild, &answer);
  if (arrival != kArrived) {
    complain(kSide, "no answer: %s", describeArrival(arrival));
    return false;
  }
  const bool found = readChecksum(&answer, checksum);
  freeBlock(&answer);
  if (!found) {
    complain(kSide, "no checksum can be read from the answer");
  }
  return found;
}

// Waits for the receiver's end and says what was wrong with it.
static bool endedWell(Child *receiver)
{
  int status;
  if (!waitForReceiver(receiver, &status)) {
    complain(kSide, "cannot wait for the receiver: %s", strerror(errno));
    return false;
  }
  if (WIFSIGNALED(status)) {
    complain(kSide, "the receiver was killed by signal %d", WTERMSIG(status));
    return false;
  }
  if (WEXITSTATUS(status) != EXIT_SUCCESS) {
    complain(kSide, "the receiver did not accept the block: exit status %d", WEXITSTATUS(status));
    return false;
  }
  return true;
}

// Makes the receiver's edit in our own copy and compares.
static bool agrees(Block *own, uint32_t receiverID, uint32_t checksum)
{
  const uint32_t status = markReceived(own, receiverID);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot edit the block: status %" PRIu32, status);
    return false;
  }
  const uint32_t ownChecksum = adler32(own->bytes, own->size);
  if (ownChecksum != checksum) {
    complain(kSide, "Adler-32 of our edited copy is %08" PRIx32 ", the receiver's is %08" PRIx32, ownChecksum,
             checksum);
    return false;
  }
  say(kSide, "Adler-32 of our edited copy is %08" PRIx32 " too: both sides hold the same bytes", ownChecksum);
  return true;
}

static bool handOver(Block *block, bool corrupt)
{
  Child receiver;
  if (!startReceiver(&receiver)) {
    complain(kSide, "cannot start the receiver: %s", strerror(errno));
    return false;
  }
  const uint32_t receiverID = (uint32_t)receiver.process;
  uint32_t checksum = 0;
  const bool answered = sendTo(&receiver, block, corrupt) && receiveChecksum(&receiver, &checksum);
  return endedWell(&receiver) && answered && agrees(block, receiverID, checksum);
}

int runSender(const Parameters *parameters)
{
  say(kSide, "the language is %s (identifier %" PRIu32 ")", GetLocaleNameFromLangID(parameters->language),
      parameters->language);
  Block block = {0};
  const bool done = collectBlock(parameters->language, &block) && handOver(&block, parameters->corrupt);
  freeBlock(&block);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
