// Reading and writing that goes on after a signal and after a part: a pipe may take or give any piece of what is asked.
#include "pipe.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

bool sendBlock(int descriptor, const Block *block)
{
  for (size_t sent = 0; sent < block->size;) {
    const ssize_t written = write(descriptor, block->bytes + sent, block->size - sent);
    if (written >= 0) {
      sent += (size_t)written;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

// Reads until size bytes are there or the pipe ends. Returns the bytes read, -1 on an error.
static ssize_t readFully(int descriptor, uint8_t *bytes, size_t size)
{
  size_t received = 0;
  while (received < size) {
    const ssize_t got = read(descriptor, bytes + received, size - received);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    received += (size_t)got;
  }
  return (ssize_t)received;
}

static Arrival receivePart(int descriptor, uint8_t *bytes, size_t size)
{
  const ssize_t got = readFully(descriptor, bytes, size);
  if (got < 0) {
    return kReadFailed;
  }
  return (size_t)got == size ? kArrived : got == 0 ? kNothingCame : kCutShort;
}

Arrival receiveBlock(int descriptor, Block *block)
{
  uint8_t header[kBlockHeaderSize];
  Arrival arrival = receivePart(descriptor, header, sizeof(header));
  if (arrival != kArrived) {
    return arrival;
  }
  const uint32_t size = blockSize(header);
  if (size < sizeof(header)) {
    return kNoBlock;
  }
  *block = (Block){.bytes = malloc(size), .size = size};
  if (block->bytes == NULL) {
    return kReadFailed;
  }
  memcpy(block->bytes, header, sizeof(header));
  arrival = receivePart(descriptor, block->bytes + sizeof(header), size - sizeof(header));
  if (arrival == kArrived) {
    return kArrived;
  }
  const int error = errno;
  freeBlock(block);
  errno = error;
  return arrival == kNothingCame ? kCutShort : arrival;
}

const char *describeArrival(Arrival arrival)
{
  switch (arrival) {
    case kArrived:
      return "a block has arrived";
    case kNothingCame:
      return "nothing has come";
    case kCutShort:
      return "the block is cut short";
    case kNoBlock:
      return "this is no block";
    case kReadFailed:
      break;
  }
  return strerror(errno);
}
