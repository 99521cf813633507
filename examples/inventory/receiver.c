// The receiver. It owns the room and outlives the sender, so that it can tell what became of it and leaves nothing of the
// room behind, whatever that is.
#include "receiver.h"

#include <errno.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "block.h"
#include "checksum.h"
#include "child.h"
#include "events.h"
#include "history.h"
#include "inspect.h"
#include "object.h"
#include "report.h"
#include "room.h"
#include "schema.h"
#include "settings.h"
#include "stop.h"

typedef struct Receiver {
  Room room;
  Child sender;
  uint32_t language;  // of the event logs
  uint32_t patience;  // steps, in every wait
  bool stores;
} Receiver;

static const char kSide[] = "receiver";

static bool isNoMoreToBeWaitedFor(void *sender)
{
  return isToldToStop() || hasEnded(sender);
}

// Looks into the room after a wait without an announcement. A process that dies takes its hold on the mutex with it, so
// that a free mutex tells also processes that are not the sender's parent: nobody is at work here.
static void lookAround(const Room *room)
{
  if (!enterRoom(room, 0)) {
    say(kSide, "the mutex is taken: somebody is still in the room");
    return;
  }
  Block block;
  if (takeBlock(room, &block)) {
    say(kSide, "the mutex is free; the memory holds %" PRIu32 " bytes that nobody announced: not used", block.size);
    freeBlock(&block);
  } else {
    say(kSide, "the mutex is free; the memory holds no block");
  }
  leaveRoom(room);
}

static bool awaitBlock(Receiver *receiver)
{
  const Wait wait = awaitEvent(receiver->room.blockEvent, receiver->patience, isNoMoreToBeWaitedFor, &receiver->sender);
  if (wait == kAnnounced) {
    return true;
  }
  if (receiver->sender.ended) {
    complainOfEnd(&receiver->sender, kSide, "the sender", " before it announced a block");
  } else if (isToldToStop()) {
    complain(kSide, "told to stop before a block was announced");
  } else {
    complain(kSide, "no block was announced within %" PRIu32 " steps of about a millisecond", receiver->patience);
  }
  lookAround(&receiver->room);
  endChild(&receiver->sender, 0);  // it has had its time
  return false;
}

// Takes a copy: the memory stays the sender's to write to, also between a check and the use of what was checked.
static bool receiveBlock(Receiver *receiver, Block *block)
{
  if (!awaitBlock(receiver)) {
    return false;
  }
  if (!enterRoom(&receiver->room, receiver->patience)) {
    complain(kSide, "the sender announced a block and does not leave the room");
    return false;
  }
  const bool taken = takeBlock(&receiver->room, block);
  leaveRoom(&receiver->room);
  if (taken) {
    say(kSide, "received %" PRIu32 " bytes", block->size);
  } else {
    complain(kSide, "refused: this is no block, or there is no memory for it");
    logEvent(kSide, receiver->language, SM_EVENT_ERROR, kEventRefused, NULL);
  }
  return taken;
}

static bool answer(const Receiver *receiver, const Answer *content)
{
  Block reply;
  const uint32_t status = buildAnswer(content, &reply);
  if (status != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot build the answer: status %" PRIu32, status);
    return false;
  }
  const bool entered = enterRoom(&receiver->room, receiver->patience);
  if (entered) {
    putBlock(&receiver->room, &reply);
    leaveRoom(&receiver->room);
  }
  freeBlock(&reply);
  if (!entered || SMEventSet(receiver->room.answerEvent) != SM_STATUS_SUCCESS) {
    complain(kSide, "cannot hand the answer over");
    return false;
  }
  return true;
}

static uint32_t edit(Block *block, uint32_t ownID)
{
  const uint32_t status = markReceived(block, ownID);
  if (status == SM_STATUS_SUCCESS) {
    say(kSide, "edited in place: %s is now %" PRIu32, fieldName(kFieldReceiver), ownID);
  } else {
    complain(kSide, "cannot edit the block: status %" PRIu32, status);
  }
  return status;
}

// Before the answer, so that the sender finds everything when it has that.
static bool store(const Block *block, uint32_t checksum)
{
  const bool stored = storeSettings(kSide, block);
  return noteRun(kSide, checksum, readHistoryLength()) && stored;
}

static bool work(Receiver *receiver)
{
  Block block;
  if (!receiveBlock(receiver, &block)) {
    return false;
  }
  Answer content = {.receiverID = (uint32_t)getpid(), .status = inspectBlock(kSide, &block)};
  if (content.status == SM_STATUS_SUCCESS) {
    content.status = edit(&block, content.receiverID);
  }
  bool done = content.status == SM_STATUS_SUCCESS;
  if (!done) {
    logEvent(kSide, receiver->language, SM_EVENT_ERROR, kEventRefused, &block);
  } else {
    logEvent(kSide, receiver->language, SM_EVENT_INFORMATION, kEventAccepted, NULL);
    content.checksum = adler32(block.bytes, block.size);
    done = !receiver->stores || store(&block, content.checksum);
    say(kSide, "answering: Adler-32 of the edited block is %08" PRIx32, content.checksum);
  }
  freeBlock(&block);
  return answer(receiver, &content) && done;
}

static bool workWithSender(Receiver *receiver, int count, char *const *arguments)
{
  if (!startChild(&receiver->sender, count, arguments, kSenderArgument)) {
    complain(kSide, "cannot start the sender: %s", strerror(errno));
    return false;
  }
  const bool done = work(receiver);
  endChild(&receiver->sender, receiver->patience);
  if (done && !hasSucceeded(&receiver->sender)) {
    complainOfEnd(&receiver->sender, kSide, "the sender", " after the answer");
    return false;
  }
  return done;
}

static bool receiveInRoom(const Parameters *parameters, int count, char *const *arguments)
{
  Receiver receiver = {
      .language = parameters->language,
      .patience = parameters->patience,
      .stores = parameters->store,
  };
  if (!createRoom(parameters->room, &receiver.room)) {
    complain(kSide,
             "cannot make the room \"%s\": another has it, its name does not do, or the suite's directory is missing",
             parameters->room);
    return false;
  }
  say(kSide, "made the room \"%s\"", parameters->room);
  const bool done = workWithSender(&receiver, count, arguments);
  closeRoom(&receiver.room);
  return done;
}

int runReceiver(const Parameters *parameters, int count, char *const *arguments)
{
  heedSignals();
  logEvent(kSide, parameters->language, SM_EVENT_INFORMATION, kEventStarted, NULL);
  const bool done = receiveInRoom(parameters, count, arguments);
  logEvent(kSide, parameters->language, done ? SM_EVENT_SUCCESS : SM_EVENT_WARNING, kEventEnded, NULL);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
