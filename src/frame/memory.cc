// The memory functions through which callers share the library's heap.

#include <cstdlib>

#include "qvsupt32/frame.h"

void *SMAllocMem(uint32_t size)
{
  return malloc(size);
}

void *SMReAllocMem(void *block, uint32_t size)
{
  return realloc(block, size);
}

void SMFreeMem(void *block)
{
  free(block);
}
