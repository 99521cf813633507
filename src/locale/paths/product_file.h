// The path of a file below a product's install directory, where its settings, logs and string resources lie. One place
// composes it, always from the text of the cached directory, so that all families find the same file.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace qv {

/// The install directory of a product as the cache holds it, whether it exists or not: notFound or success.
Status cachedInstallDirectory(uint32_t productID, const char *&directory);

/// The same for a directory that exists. Statuses as SUPTMiscGetInstallPathByProductID without a
/// size: notFound, badType if the directory does not exist, success.
Status findInstallDirectory(uint32_t productID, const char *&directory);

struct ProductFilePath {
  char text[256];
  uint32_t size;  // with the terminator
};

/// Composes a path without a look at the directory: the statuses of cachedInstallDirectory, then badArgument as below.
/// For callers that look (findInstallDirectory) once opening the file has failed.
Status composeUncheckedProductFilePath(uint32_t productID, const char *subdirectory, const char *fileName,
                                       ProductFilePath &path);

/// Composes "install directory/subdirectory/file name". The statuses of findInstallDirectory, then badArgument if the
/// file name is null or the path is longer than 255 bytes; `path` is valid after success only.
Status composeProductFilePath(uint32_t productID, const char *subdirectory, const char *fileName,
                              ProductFilePath &path);

}  // namespace qv
