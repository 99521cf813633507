// Letting go of a handle of any kind.

#include "os/objects/record.h"

void SMHandleClose(OSSyncInfo *handle)
{
  if (handle == nullptr) {
    return;
  }
  const bool isNamed = handle->name != nullptr;
  switch (handle->kind) {
    case SM_KIND_LIBRARY:
      (void)OSLibUnLoad(handle);  // a library that the loader keeps is none of the handle's any more
      break;
    case SM_KIND_MUTEX:
      isNamed ? qv::closeNamedMutex(handle) : OSMutexDestroy(handle);
      break;
    case SM_KIND_SEMAPHORE:
      isNamed ? free(handle) : OSSemaphoreDestroy(handle);
      break;
    case SM_KIND_SHARED_MEMORY:
      qv::closeSharedMemory(handle);
      break;
    case SM_KIND_EVENT:
      isNamed ? free(handle) : OSEventDestroy(handle);
      break;
    default:
      break;
  }
}
