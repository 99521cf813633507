// System V semaphores as sets of one, with the timeouts of the other locks. Identifier 0, which the kernel may give
// out, means no semaphore here and is never handed on.

#include "os/ipc/semaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>

#include "base/input_output.h"
#include "base/polling.h"
#include "base/status.h"
#include "qvsupt32/os.h"

namespace {

using qv::Attempt;
using qv::Status;

constexpr int kMode = 0666;

/// The fourth argument of semctl(2), which the caller has to declare.
union SemaphoreArgument {
  int value;
  semid_ds *status;
  unsigned short *values;
};

int createSet(key_t key)
{
  return semget(key, 1, IPC_CREAT | IPC_EXCL | kMode);
}

void removeSet(int id)
{
  const int kept = errno;
  (void)semctl(id, 0, IPC_RMID);  // if it fails, the set is gone
  errno = kept;
}

void setCount(int id, int count)
{
  SemaphoreArgument argument = {};
  argument.value = count;
  (void)semctl(id, 0, SETVAL, argument);  // the contract reports no failure here
}

/// Performs an operation on the one semaphore.
bool operate(int id, short change, short flags)
{
  sembuf operation = {0, change, flags};
  return qv::uninterrupted([&] { return semop(id, &operation, 1); }) == 0;
}

int32_t waitForSet(int32_t id, uint32_t timeout, short flags)
{
  if (id == 0) {
    return qv::signedResult(Status::unsuccessful);
  }
  if (timeout == SM_WAIT_FOREVER) {
    return qv::signedResult(operate(id, -1, flags) ? Status::success : Status::unsuccessful);
  }
  const Attempt attempt = qv::pollUntil(timeout, [id, flags] {
    sembuf operation = {0, -1, static_cast<short>(flags | IPC_NOWAIT)};
    return semop(id, &operation, 1) == 0 ? Attempt::done : Attempt::busy;
  });
  return qv::signedResult(attempt == Attempt::done ? Status::success : Status::timeout);
}

}  // namespace

namespace qv {

int32_t semaphoreCount(int32_t id)
{
  return semctl(id, 0, GETVAL);
}

int32_t createSemaphore(int32_t key, int32_t initial, bool &isNew)
{
  int id = createSet(key);
  int placeholder = -1;
  if (id == 0) {
    // Make the set again while a placeholder occupies the slot that it had.
    removeSet(id);
    placeholder = createSet(IPC_PRIVATE);
    id = createSet(key);
  }
  isNew = id > 0;
  const bool exists = id == -1 && errno == EEXIST;
  if (isNew) {
    setCount(id, initial);
  } else if (id == 0) {
    removeSet(id);
  } else if (exists) {
    id = OpenSemaphore(key);
  }
  if (placeholder != -1) {
    removeSet(placeholder);
  }
  return id == -1 ? 0 : id;
}

void giveBackOwnUndo(int32_t id)
{
  if (semctl(id, 0, GETPID) == getpid()) {
    (void)operate(id, 1, IPC_NOWAIT | SEM_UNDO);  // if it fails, the set is gone
  }
}

bool addToSemaphore(int32_t id, int16_t change)
{
  return operate(id, change, IPC_NOWAIT);
}

}  // namespace qv

int32_t CreateSemaphore(int32_t key, int32_t initial)
{
  bool isNew;
  return qv::createSemaphore(key, initial, isNew);
}

int32_t OpenSemaphore(int32_t key)
{
  const int id = semget(key, 0, kMode);
  return id == -1 ? 0 : id;
}

void DestroySemaphore(int32_t id)
{
  if (id != 0) {
    removeSet(id);
  }
}

int32_t WaitForSemaphore(int32_t id, uint32_t timeout)
{
  return waitForSet(id, timeout, 0);
}

int32_t WaitForSemaphoreUndo(int32_t id, uint32_t timeout)
{
  return waitForSet(id, timeout, SEM_UNDO);
}

int32_t ReleaseSemaphore(int32_t id)
{
  if (id == 0) {
    return qv::signedResult(Status::unsuccessful);
  }
  return qv::signedResult(operate(id, 1, IPC_NOWAIT) ? Status::success : Status::unsuccessful);
}

int32_t ResetSemaphore(int32_t id)
{
  if (id == 0) {
    return qv::signedResult(Status::unsuccessful);
  }
  setCount(id, 0);
  return qv::signedResult(Status::success);
}
