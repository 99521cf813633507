// Install directories of the suite's products: worked out once from the environment or the platform, then looked up.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/alias.h"
#include "base/size.h"
#include "base/status.h"
#include "locale/paths/product_file.h"
#include "qvsupt32/paths.h"
#include "qvsupt32/strings.h"

const SMKnownProduct pGKnownProductIDS[3] = {
    {"Corvane", SM_PRODUCT_CORVANE},
    {"VELA", SM_PRODUCT_VELA},
    {"ZKRoot", SM_PRODUCT_ZKROOT},
};
SMInstallPath *pGInstallPathList = nullptr;
uint32_t gInstallPathListCount = 0;

namespace {

using qv::Status;

constexpr uint32_t kProducts = sizeof(pGKnownProductIDS) / sizeof(pGKnownProductIDS[0]);
constexpr char kCorvaneDirectory[] = "/etc/tallowmere/corvane";
constexpr char kVelaDirectory[] = "/etc/tallowmere/vela";

/// The value of the product's environment variable; null when it is set in neither letter case.
const char *pathInEnvironment(const char *productName)
{
  char name[32];
  (void)snprintf(name, sizeof(name), "%sinstallpath", productName);
  const char *value = getenv(strlwr(name));
  return value != nullptr ? value : getenv(strupr(name));
}

void initRecord(SMInstallPath &record, const SMKnownProduct &product)
{
  record.productID = product.productID;
  record.installPath[0] = '\0';
  record.installPathSize = 0;
  const char *path = pathInEnvironment(product.productName);
  if (path == nullptr) {
    record.installPathSize = sizeof(record.installPath);
    if (OSInitProductInstallPath(product.productID, record.installPath, &record.installPathSize) != SM_STATUS_SUCCESS) {
      record.installPathSize = 0;
    }
    return;
  }
  const size_t size = strlen(path) + 1;
  if (size < sizeof(record.installPath)) {
    memcpy(record.installPath, path, size);
    record.installPathSize = static_cast<uint32_t>(size);
  }
}

/// Cuts a path at a place and stores the size that is left.
void cutAt(char *path, char *end, uint32_t *size)
{
  *end = '\0';
  *size = qv::clampSize(static_cast<size_t>(end - path) + 1);
}

/// The platform directory of one of the products that have one of their own.
uint32_t ownDirectory(const char *directory, char *path, uint32_t *size)
{
  const uint32_t status = OSInitInstallPathByKeyName(directory, path, size);
  if (status == SM_STATUS_SUCCESS) {
    SUPTMiscRemoveTrailingPathSeparator(path, size);
  }
  return status;
}

/// The directory that the other products share.
uint32_t commonDirectory(char *path, uint32_t *size)
{
  if (OSInitInstallPathByKeyName(kVelaDirectory, path, size) != SM_STATUS_SUCCESS) {
    const uint32_t status = OSInitInstallPathByKeyName(kCorvaneDirectory, path, size);
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  SUPTMiscRemoveTrailingPathSeparator(path, size);
  SUPTMiscRemoveSubDir(path, size);
  return result(Status::success);
}

const SMInstallPath *findProduct(uint32_t productID)
{
  for (uint32_t i = 0; i < gInstallPathListCount; ++i) {
    if (pGInstallPathList[i].productID == productID) {
      return &pGInstallPathList[i];
    }
  }
  return nullptr;
}

Status copyInstallPath(uint32_t productID, char *path, uint32_t *size)
{
  const char *directory;
  const Status status = qv::findInstallDirectory(productID, directory);
  if (status != Status::success) {
    if (pGInstallPathList == nullptr || findProduct(productID) != nullptr) {
      *size = 0;
    }
    return status;
  }
  // The text decides and not the size beside it: a caller may have written to the record.
  const size_t length = strnlen(directory, sizeof(SMInstallPath::installPath));
  if (!qv::exchangeSize(*size, length + 1)) {
    return Status::bufferTooSmall;
  }
  memcpy(path, directory, length);
  path[length] = '\0';
  return Status::success;
}

}  // namespace

Status qv::cachedInstallDirectory(uint32_t productID, const char *&directory)
{
  const SMInstallPath *product = findProduct(productID);
  if (product == nullptr || product->installPathSize == 0) {
    return Status::notFound;
  }
  directory = product->installPath;
  return Status::success;
}

Status qv::findInstallDirectory(uint32_t productID, const char *&directory)
{
  const Status status = cachedInstallDirectory(productID, directory);
  if (status != Status::success) {
    return status;
  }
  return access(directory, F_OK) == 0 ? Status::success : Status::badType;
}

void SUPTMiscInitInstallPathCache(void)
{
  if (pGInstallPathList != nullptr) {
    return;
  }
  pGInstallPathList = static_cast<SMInstallPath *>(malloc(kProducts * sizeof(SMInstallPath)));
  if (pGInstallPathList == nullptr) {
    return;
  }
  gInstallPathListCount = kProducts;
  for (uint32_t i = 0; i < kProducts; ++i) {
    initRecord(pGInstallPathList[i], pGKnownProductIDS[i]);
  }
}

void SUPTMiscFreeInstallPathCache(void)
{
  gInstallPathListCount = 0;
  free(pGInstallPathList);
  pGInstallPathList = nullptr;
}

uint32_t SUPTMiscGetInstallPathByProductID(uint32_t productID, char *path, uint32_t *size)
{
  return result(copyInstallPath(productID, path, size));
}

QV_ALIAS(SMGetInstallPathByProductID, SUPTMiscGetInstallPathByProductID)

uint32_t SMGetInstallPath(char *path, uint32_t *size)
{
  return SUPTMiscGetInstallPathByProductID(SM_PRODUCT_VELA, path, size);
}

uint32_t OSInitProductInstallPath(uint32_t productID, char *path, uint32_t *size)
{
  switch (productID) {
    case SM_PRODUCT_CORVANE:
      return ownDirectory(kCorvaneDirectory, path, size);
    case SM_PRODUCT_VELA:
      return ownDirectory(kVelaDirectory, path, size);
    case SM_PRODUCT_ZKROOT:
      return commonDirectory(path, size);
    default:
      return result(Status::invalidParameter);
  }
}

uint32_t OSInitInstallPathByKeyName(const char *keyName, char *path, uint32_t *size)
{
  if (path == nullptr || size == nullptr) {
    return result(Status::invalidParameter);
  }
  return result(qv::copyTextOut(keyName, path, *size));
}

void SUPTMiscRemoveTrailingPathSeparator(char *path, uint32_t *size)
{
  const size_t length = strlen(path);
  if (length > 0 && path[length - 1] == '/') {
    cutAt(path, path + length - 1, size);
  }
}

void SUPTMiscRemoveSubDir(char *path, uint32_t *size)
{
  char *last = strrchr(path, '/');
  if (last != nullptr && last != path) {
    cutAt(path, last, size);
  }
}
