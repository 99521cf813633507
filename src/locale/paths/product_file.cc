// See product_file.h.

#include "locale/paths/product_file.h"

#include <cstdio>

namespace qv {

Status composeUncheckedProductFilePath(uint32_t productID, const char *subdirectory, const char *fileName,
                                       ProductFilePath &path)
{
  const char *directory;
  if (const Status status = cachedInstallDirectory(productID, directory); status != Status::success) {
    return status;
  }
  if (fileName == nullptr) {
    return Status::badArgument;
  }
  // The precision keeps the read inside the cache's record, which callers can write to.
  const int length = snprintf(path.text, sizeof(path.text), "%.*s/%s/%s", static_cast<int>(sizeof(path.text)),
                              directory, subdirectory, fileName);
  if (length < 0 || static_cast<size_t>(length) >= sizeof(path.text)) {
    return Status::badArgument;
  }
  path.size = static_cast<uint32_t>(length) + 1;
  return Status::success;
}

Status composeProductFilePath(uint32_t productID, const char *subdirectory, const char *fileName, ProductFilePath &path)
{
  const char *directory;
  const Status status = findInstallDirectory(productID, directory);
  return status == Status::success ? composeUncheckedProductFilePath(productID, subdirectory, fileName, path) : status;
}

}  // namespace qv
