// Local mutexes: thread mutexes of this process with the timeouts of the other locks.

#include <pthread.h>

#include <cstdlib>

#include "base/polling.h"
#include "base/status.h"
#include "qvsupt32/os.h"

using qv::Attempt;
using qv::Status;

struct SMLocalMutex {
  pthread_mutex_t mutex;
};

SMLocalMutex *CreateLocalMutex(void)
{
  auto *mutex = static_cast<SMLocalMutex *>(malloc(sizeof(SMLocalMutex)));
  if (mutex == nullptr) {
    return nullptr;
  }
  if (pthread_mutex_init(&mutex->mutex, nullptr) != 0) {
    free(mutex);
    return nullptr;
  }
  return mutex;
}

void DestroyLocalMutex(SMLocalMutex *mutex)
{
  if (mutex == nullptr) {
    return;
  }
  (void)pthread_mutex_destroy(&mutex->mutex);  // it fails only for a mutex in use, which the caller rules out
  free(mutex);
}

int32_t WaitForLocalMutex(SMLocalMutex *mutex, uint32_t timeout)
{
  if (mutex == nullptr) {
    return qv::signedResult(Status::unsuccessful);
  }
  if (timeout == SM_WAIT_FOREVER) {
    return qv::signedResult(pthread_mutex_lock(&mutex->mutex) == 0 ? Status::success : Status::unsuccessful);
  }
  const Attempt attempt = qv::pollUntil(
      timeout, [mutex] { return pthread_mutex_trylock(&mutex->mutex) == 0 ? Attempt::done : Attempt::busy; });
  return qv::signedResult(attempt == Attempt::done ? Status::success : Status::timeout);
}

int32_t ReleaseLocalMutex(SMLocalMutex *mutex)
{
  if (mutex == nullptr) {
    return qv::signedResult(Status::unsuccessful);
  }
  return qv::signedResult(pthread_mutex_unlock(&mutex->mutex) == 0 ? Status::success : Status::unsuccessful);
}
