// Dynamic libraries by handle.

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "base/alias.h"
#include "base/stack.h"
#include "os/objects/record.h"

namespace {

using qv::Status;

struct Library {
  static constexpr int32_t kKind = SM_KIND_LIBRARY;
  OSSyncInfo info;
  void *loaded;
};

static_assert(sizeof(void *) != 4 || sizeof(Library) == 12);

/// The record of a handle; null for a null handle, other kinds, and a record without a library.
Library *loadedLibrary(OSSyncInfo *handle)
{
  Library *library = qv::recordOf<Library>(handle);
  return library != nullptr && library->loaded != nullptr ? library : nullptr;
}

}  // namespace

QV_ALIGNS_STACK OSSyncInfo *OSLibLoad(const char *path)
{
  if (path == nullptr) {
    return nullptr;
  }
  // A path may be longer than a name, so the record is not made by OSSyncInfoAlloc.
  const size_t pathSize = strlen(path) + 1;
  qv::HeapBlock<Library> library(static_cast<Library *>(malloc(sizeof(Library) + pathSize)));
  if (library == nullptr) {
    return nullptr;
  }
  char *copy = reinterpret_cast<char *>(library.get() + 1);
  memcpy(copy, path, pathSize);
  *library = {{SM_KIND_LIBRARY, copy}, dlopen(copy, RTLD_LAZY)};
  return library->loaded == nullptr ? nullptr : qv::handOut(library);
}

QV_ALIGNS_STACK int32_t OSLibUnLoad(OSSyncInfo *handle)
{
  Library *library = loadedLibrary(handle);
  if (library == nullptr) {
    return qv::signedResult(qv::refusalOf(handle));
  }
  if (dlclose(library->loaded) != 0) {
    return qv::signedResult(Status::unsuccessful);
  }
  library->info.name = nullptr;
  free(library);
  return qv::signedResult(Status::success);
}

void *OSLibLinkToExportFN(OSSyncInfo *handle, const char *symbol)
{
  const Library *library = loadedLibrary(handle);
  if (library == nullptr || symbol == nullptr) {
    return nullptr;
  }
  (void)dlerror();  // forgets errors of the past, so that one after the lookup is the lookup's
  void *address = dlsym(library->loaded, symbol);
  return dlerror() == nullptr ? address : nullptr;
}

int32_t OSLibUnLinkFromExportFN(OSSyncInfo *handle, void *)
{
  return qv::signedResult(loadedLibrary(handle) == nullptr ? qv::refusalOf(handle) : Status::success);
}

QV_ALIAS(SMLibLoad, OSLibLoad)
QV_ALIAS(SMLibUnLoad, OSLibUnLoad)
QV_ALIAS(SMLibLinkToExportFN, OSLibLinkToExportFN)
QV_ALIAS(SMLibUnLinkFromExportFN, OSLibUnLinkFromExportFN)
