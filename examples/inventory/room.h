// Where two processes meet: named shared memory with room for one block, a named mutex that whoever touches the memory
// holds, and two named events, one that announces a block and one that announces the answer.
//
// One side creates the room and outlives the other, which only opens it: whatever becomes of the other side, killed
// included, the creator can tell, and leaves nothing behind. Waits are counted in steps of about a millisecond.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "block.h"
#include "qvsupt32.h"

typedef struct Room {
  OSSyncInfo *mutex;
  OSSyncInfo *memory;
  OSSyncInfo *blockEvent;
  OSSyncInfo *answerEvent;
} Room;

typedef enum Wait {
  kAnnounced,
  kOtherGone,
  kOutOfPatience,
} Wait;

typedef bool (*IsGone)(void *other);

// Both return false, with nothing left behind, when the name does not do or the system refuses. One name is one room:
// while it is there, no other process can create it.
bool createRoom(const char *name, Room *room);
bool openRoom(const char *name, Room *room);

// Lets go of everything, and in the creating process removes it.
void closeRoom(Room *room);

// Takes and gives back the mutex. False when somebody else held it to the last step.
bool enterRoom(const Room *room, uint32_t steps);
void leaveRoom(const Room *room);

// Copies a block into the memory, and a block there into a new one, freed with freeBlock(). Whoever calls them is in the
// room. False when there is no block, or memory for a copy is short.
void putBlock(const Room *room, const Block *block);
bool takeBlock(const Room *room, Block *block);

// Waits for an event of the room, and looks meanwhile whether the other side is still there to announce it.
Wait awaitEvent(OSSyncInfo *event, uint32_t steps, IsGone isGone, void *other);
