// The sender. It keeps the block that it hands over, so that it can make the receiver's edit itself and compare
// checksums.
#include "sender.h"

#include <errno.h>
#include <inttypes.h>
#include <signal.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "block.h"
#include "checksum.h"
#include "facts.h"
#include "object.h"
#include "report.h"
#include "room.h"
#include "schema.h"
#include "settings.h"

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

// Kills this process as nobody can prepare for.
static void dieHere(void)
{
  say(kSide, "dying on purpose");
  (void)raise(SIGKILL);
}

static void damageInRoom(const Room *room)
{
  Block there = {.bytes = SMSharedMemGetAddressPtr(room->memory)};
  const uint16_t fieldID = damageBlock(&there);
  say(kSide, "corrupted on purpose: field %u (%s) now starts past the end of the block", (unsigned)fieldID,
      fieldID == 0 ? "none is there" : fieldName(fieldID));
}

// Takes the mutex, writes, announces and gives the mutex back.
static bool handOver(const Room *room, const Block *block, const Parameters *parameters)
{
  if (!enterRoom(room, parameters->patience)) {
    complain(kSide, "the room does not become free");
    return false;
  }
  if (parameters->death == kDeathInTheRoom) {
    dieHere();
  }
  putBlock(room, block);
  if (parameters->corrupt) {
    damageInRoom(room);
  }
  if (parameters->death == kDeathWithoutAnEvent) {
    dieHere();
  }
  say(kSide, "handing over %" PRIu32 " bytes", block->size);
  const bool announced = SMEventSet(room->blockEvent) == SM_STATUS_SUCCESS;
  leaveRoom(room);
  if (!announced) {
    complain(kSide, "cannot announce the block");
  }
  return announced;
}

// Whoever loses its parent gets another one.
static bool hasLostParent(void *parent)
{
  return getppid() != *(const pid_t *)parent;
}

static bool awaitAnswer(const Room *room, pid_t parent, uint32_t patience, Answer *answer)
{
  if (awaitEvent(room->answerEvent, patience, hasLostParent, &parent) != kAnnounced || !enterRoom(room, patience)) {
    complain(kSide, "no answer: the receiver is gone, or takes too long");
    return false;
  }
  Block reply;
  const bool taken = takeBlock(room, &reply);
  leaveRoom(room);
  if (!taken) {
    complain(kSide, "the answer is no block, or there is no memory for it");
    return false;
  }
  const uint32_t status = readAnswer(&reply, answer);
  freeBlock(&reply);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "the answer cannot be read: status %" PRIu32, status);
  }
  return status == SM_STATUS_SUCCESS;
}

// Makes the receiver's edit in our own copy and compares.
static bool agrees(Block *own, const Answer *answer)
{
  if (answer->status != SM_STATUS_SUCCESS) {
    complain(kSide, "the receiver refused the block: status %" PRIu32, answer->status);
    return false;
  }
  const uint32_t status = markReceived(own, answer->receiverID);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot edit the block: status %" PRIu32, status);
    return false;
  }
  const uint32_t checksum = adler32(own->bytes, own->size);
  if (checksum != answer->checksum) {
    complain(kSide, "Adler-32 of our edited copy is %08" PRIx32 ", the receiver's is %08" PRIx32, checksum,
             answer->checksum);
    return false;
  }
  say(kSide, "Adler-32 of our edited copy is %08" PRIx32 " too: both sides hold the same bytes", checksum);
  return true;
}

// Looks at what the receiver has stored.
static bool findsFactsStored(const Block *own)
{
  const bool stored = compareSettings(kSide, own);
  return listSettings(kSide) && stored;
}

static bool meet(const Room *room, Block *block, const Parameters *parameters)
{
  const pid_t parent = getppid();
  Answer answer;
  return handOver(room, block, parameters) && awaitAnswer(room, parent, parameters->patience, &answer) &&
         agrees(block, &answer) && (!parameters->store || findsFactsStored(block));
}

int runSender(const Parameters *parameters)
{
  say(kSide, "the language is %s (identifier %" PRIu32 ")", GetLocaleNameFromLangID(parameters->language),
      parameters->language);
  Room room;
  if (!openRoom(parameters->room, &room)) {
    complain(kSide, "nobody waits in the room \"%s\": the first process starts the second itself", parameters->room);
    return EXIT_FAILURE;
  }
  Block block = {0};
  const bool done = collectBlock(parameters->language, &block) && meet(&room, &block, parameters);
  freeBlock(&block);
  closeRoom(&room);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
