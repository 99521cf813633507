// See library.h.

#include "library.h"

#include <dlfcn.h>
#include <link.h>

#include "failure.h"

namespace qvctl {
namespace {

constexpr char kSoname[] = "libqvsupt32.so.4";

}  // namespace

void Library::load()
{
  if (handle_ != nullptr) {
    return;
  }
  handle_ = dlopen(kSoname, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (handle_ == nullptr) {
    std::string reason = dlerror();
    // the loader's message mostly begins with the name
    const std::string prefix = std::string(kSoname) + ": ";
    if (reason.compare(0, prefix.size(), prefix) == 0) {
      reason.erase(0, prefix.size());
    }
    throw toolFailure(kSoname, reason);
  }
}

void *Library::find(const char *name) const
{
  return dlsym(handle_, name);
}

void *Library::symbol(const char *name) const
{
  void *const address = find(name);
  if (address == nullptr) {
    throw toolFailure(path(), std::string("has no ") + name);
  }
  return address;
}

std::string Library::path() const
{
  struct link_map *map = nullptr;
  return dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : kSoname;
}

}  // namespace qvctl
