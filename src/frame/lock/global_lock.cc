// The global file lock: the record lock, nothing else. It serializes processes; frame/lock/file_guard adds the threads.

#include "frame/lock/global_lock.h"

#include "base/alias.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/os.h"

uint32_t hGFileLock = 0;

uint32_t FileLock(uint16_t mode)
{
  return WaitForGlobalMutex(hGFileLock, qv::fileLockSteps(mode)) == 0 ? 1 : 0;
}

int32_t FileUnlock(void)
{
  return ReleaseGlobalMutex(hGFileLock);
}

QV_ALIAS(SMFileLock, FileLock)
QV_ALIAS(SMFileUnlock, FileUnlock)
