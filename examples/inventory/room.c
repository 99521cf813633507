// The room on the library's named objects. Events and shared memory draw their System V keys from one space, in which
// different names can meet. So its parts have names of their own, and these are looked at for their keys.
#include "room.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum {
  kRoomSize = SDO_BINARY_SIZE_MAX,  // no block is larger
  kNameSize = 256,                  // the longest name with its terminator
  kAutomatic = 0,                   // the wait for an event takes its signal away
  kNotSignalled = 0,
};

typedef struct PartNames {
  char memory[kNameSize];
  char blockEvent[kNameSize];
  char answerEvent[kNameSize];
} PartNames;

static bool haveKeysOfTheirOwn(const PartNames *names)
{
  const int32_t memory = GetUniqueKeyFromStr(names->memory);
  const int32_t block = GetUniqueKeyFromStr(names->blockEvent);
  const int32_t answer = GetUniqueKeyFromStr(names->answerEvent);
  return memory != block && memory != answer && block != answer;
}

// False for a name that is too long or that makes two parts one.
static bool nameParts(const char *room, PartNames *names)
{
  const int longest = snprintf(names->answerEvent, kNameSize, "%s.answer", room);
  (void)snprintf(names->blockEvent, kNameSize, "%s.block", room);
  (void)snprintf(names->memory, kNameSize, "%s.memory", room);
  return longest < kNameSize && haveKeysOfTheirOwn(names);
}

// A room lacks nothing, or is no room.
static bool checkRoom(Room *room)
{
  const bool whole =
      room->mutex != NULL && room->memory != NULL && room->blockEvent != NULL && room->answerEvent != NULL;
  if (!whole) {
    closeRoom(room);
  }
  return whole;
}

bool createRoom(const char *name, Room *room)
{
  PartNames names;
  if (!nameParts(name, &names)) {
    return false;
  }
  // The memory comes first: while another process that created it lives, it is refused, and nothing else of that
  // process's room may be touched.
  *room = (Room){.memory = SMSharedMemCreate(names.memory, kRoomSize)};
  if (room->memory == NULL) {
    return false;
  }
  room->mutex = SMMutexCreate(name);
  room->blockEvent = SMEventCreate(names.blockEvent, kAutomatic, kNotSignalled);
  room->answerEvent = SMEventCreate(names.answerEvent, kAutomatic, kNotSignalled);
  if (!checkRoom(room)) {
    return false;
  }
  // A creator that was killed has left them with whatever was in them.
  memset(SMSharedMemGetAddressPtr(room->memory), 0, kRoomSize);
  (void)SMEventReset(room->blockEvent);  // it is an event, so it can be reset
  (void)SMEventReset(room->answerEvent);
  return true;
}

bool openRoom(const char *name, Room *room)
{
  PartNames names;
  if (!nameParts(name, &names)) {
    return false;
  }
  *room = (Room){.memory = SMSharedMemOpen(names.memory)};
  if (room->memory == NULL) {
    return false;
  }
  room->mutex = SMMutexOpen(name);
  room->blockEvent = SMEventOpen(names.blockEvent);
  room->answerEvent = SMEventOpen(names.answerEvent);
  return checkRoom(room);
}

void closeRoom(Room *room)
{
  // The first side to close deletes the mutex's lock file. Both sides are in by then, and the other goes on locking
  // what it has open.
  SMMutexDestroy(room->mutex);
  SMSharedMemFree(room->memory);
  SMEventDestroy(room->blockEvent);
  SMEventDestroy(room->answerEvent);
  *room = (Room){0};
}

bool enterRoom(const Room *room, uint32_t steps)
{
  return SMMutexLock(room->mutex, steps) == SM_STATUS_SUCCESS;
}

void leaveRoom(const Room *room)
{
  (void)SMMutexUnLock(room->mutex);  // it is held, so it can be given back
}

void putBlock(const Room *room, const Block *block)
{
  memcpy(SMSharedMemGetAddressPtr(room->memory), block->bytes, block->size);
}

bool takeBlock(const Room *room, Block *block)
{
  // Memory that nobody has written to is zero, and so is the size that it gives.
  const uint8_t *bytes = SMSharedMemGetAddressPtr(room->memory);
  const uint32_t size = blockSize(bytes);
  if (size < kBlockHeaderSize) {
    return false;
  }
  *block = (Block){.bytes = malloc(size), .size = size};
  if (block->bytes == NULL) {
    return false;
  }
  memcpy(block->bytes, bytes, size);
  if (blockSize(block->bytes) != size) {  // written to meanwhile, by somebody who does not hold the mutex
    freeBlock(block);
    return false;
  }
  return true;
}

Wait awaitEvent(OSSyncInfo *event, uint32_t steps, IsGone isGone, void *other)
{
  enum { kBetweenLooks = 50 };
  for (uint32_t left = steps;;) {
    const uint32_t slice = left < kBetweenLooks ? left : kBetweenLooks;
    if (SMEventWait(event, slice) == SM_STATUS_SUCCESS) {
      return kAnnounced;
    }
    if (isGone(other)) {
      // Its last deed may have been the announcement.
      return SMEventWait(event, 0) == SM_STATUS_SUCCESS ? kAnnounced : kOtherGone;
    }
    left -= slice;
    if (left == 0) {
      return kOutOfPatience;
    }
  }
}
