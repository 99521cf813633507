#include "failing_heap.h"

namespace {

unsigned untilFailure = 0;  // 0 for never
bool failed = false;

bool strikes()
{
  if (untilFailure == 0 || --untilFailure != 0) {
    return false;
  }
  failed = true;
  return true;
}

}  // namespace

namespace fuzz {

FailingHeap::FailingHeap(const uint8_t *data, size_t size)
{
  const unsigned last = size == 0 ? 0 : data[size - 1];
  untilFailure = last < 128 ? 0 : last - 127;
  failed = false;
}

FailingHeap::~FailingHeap()
{
  untilFailure = 0;
}

bool FailingHeap::struck() const
{
  return failed;
}

}  // namespace fuzz

// The linker puts these in the place of the library's calls.
extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);

void *__wrap_malloc(size_t size)
{
  return strikes() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
  return strikes() ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
  return strikes() ? nullptr : __real_realloc(block, size);
}
}
