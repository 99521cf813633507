// Global mutexes: records of the IPC file under another name.

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/os.h"

using qv::Status;

uint32_t CreateGlobalMutex(uint32_t name)
{
  if (name == 0 || OpenIPCFile() != 0) {
    return 0;
  }
  return name;
}

// Creating and opening differ in nothing.
QV_ALIAS(OpenGlobalMutex, CreateGlobalMutex)

void DestroyGlobalMutex(uint32_t) {}

int32_t WaitForGlobalMutex(uint32_t handle, uint32_t timeout)
{
  return handle == 0 ? qv::signedResult(Status::unsuccessful) : LockIPCFileRecord(handle, timeout);
}

int32_t ReleaseGlobalMutex(uint32_t handle)
{
  return handle == 0 ? qv::signedResult(Status::unsuccessful) : UnlockIPCFileRecord(handle);
}
