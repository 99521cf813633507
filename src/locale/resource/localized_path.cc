// The most specific localized path that exists.

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/alias.h"
#include "base/heap.h"
#include "qvsupt32/language.h"
#include "qvsupt32/resource.h"

namespace {

constexpr size_t kPathSize = 256;

/// More than the longest locale name, "ll_CC", takes with its terminator.
constexpr size_t kLocaleSize = 9;

/// True if a path for which snprintf returned `length` was not truncated, and exists.
bool exists(const char *path, int length)
{
  return length >= 0 && static_cast<size_t>(length) < kPathSize && access(path, F_OK) == 0;
}

}  // namespace

char *GetLocalizedPathFileName(const char *base, const char *productDirectory, const char *localeName,
                               const char *subDirectory, const char *fileName)
{
  if (productDirectory == nullptr || fileName == nullptr) {
    return nullptr;
  }
  if (localeName == nullptr) {
    localeName = GetLocaleNameFromLangID(GetLocalLanguageID());
  }
  const size_t localeLength = strnlen(localeName, kLocaleSize);
  if (localeLength == kLocaleSize) {
    return nullptr;
  }
  char locale[kLocaleSize];
  memcpy(locale, localeName, localeLength + 1);
  base = base == nullptr ? "." : base;
  subDirectory = subDirectory == nullptr ? "" : subDirectory;
  qv::HeapBlock<char> path(static_cast<char *>(malloc(kPathSize)));
  if (path == nullptr) {
    return nullptr;
  }

  const auto existsForLocale = [&] {
    return exists(path.get(), snprintf(path.get(), kPathSize, "%s/%s/%s/%s/%s", base, productDirectory, locale,
                                       subDirectory, fileName));
  };
  char *separator = strchr(locale, '_');
  if (separator != nullptr) {
    *separator = '/';
  }
  bool found = existsForLocale();
  if (!found && separator != nullptr) {
    *separator = '\0';
    found = existsForLocale();
  }
  found = found || exists(path.get(), snprintf(path.get(), kPathSize, "%s/%s/%s/%s", base, productDirectory,
                                               subDirectory, fileName));
  return found ? path.release() : nullptr;
}

QV_ALIAS(SMGetLocalizedPathFileName, GetLocalizedPathFileName)
