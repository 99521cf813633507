// INI values by type code, in a file given by its path or below a product's install directory; and the exported forms.

#include <iterator>

#include "base/status.h"
#include "frame/export.h"
#include "locale/paths/product_file.h"
#include "qvsupt32/paths.h"
#include "qvsupt32/store.h"

namespace {

using qv::Status;

/// The functions of one type, for all types in one form.
struct IniType {
  uint32_t (*read)(const char *section, const char *key, void *value, uint32_t *size, const void *defaultValue,
                   uint32_t defaultSize, const char *path, int16_t lockMode);
  uint32_t (*write)(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                    int16_t lockMode);
};

uint32_t readText(const char *section, const char *key, void *value, uint32_t *size, const void *defaultValue,
                  uint32_t defaultSize, const char *path, int16_t lockMode)
{
  return ReadINIFileValue_astring(section, key, static_cast<char *>(value), size,
                                  static_cast<const char *>(defaultValue), defaultSize, path, lockMode);
}

uint32_t writeText(const char *section, const char *key, const void *value, uint32_t size, const char *path,
                   int16_t lockMode)
{
  return WriteINIFileValue_astring(section, key, static_cast<const char *>(value), size, path, lockMode);
}

/// By type code, from SM_INI_TYPE_ASTRING on.
constexpr IniType kTypes[] = {
    {readText, writeText},
    {ReadINIFileValue_ustring, WriteINIFileValue_ustring},
    {ReadINIFileValue_binary, WriteINIFileValue_binary},
    {ReadINIFileValue_booln, WriteINIFileValue_booln},
    {ReadINIFileValue_u32, WriteINIFileValue_u32},
    {ReadINIFileValue_s32, WriteINIFileValue_s32},
    {ReadINIFileValue_u64, WriteINIFileValue_u64},
    {ReadINIFileValue_s64, WriteINIFileValue_s64},
    {ReadINIFileValue_d64, WriteINIFileValue_d64},
};
static_assert(std::size(kTypes) == SM_INI_TYPE_D64);

/// Null for a code that is no type's.
const IniType *typeOf(int32_t code)
{
  return code >= SM_INI_TYPE_ASTRING && code <= SM_INI_TYPE_D64 ? &kTypes[code - 1] : nullptr;
}

/// Composes the path of a product's INI file.
Status composePath(uint32_t productID, const char *fileName, qv::ProductFilePath &path)
{
  const Status status = qv::composeProductFilePath(productID, "ini", fileName, path);
  return status == Status::success || status == Status::badArgument ? status : Status::unsuccessful;
}

}  // namespace

uint32_t ReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value, uint32_t *size,
                              const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  const IniType *functions = typeOf(type);
  if (functions == nullptr) {
    return result(Status::badArgument);
  }
  return functions->read(section, key, value, size, defaultValue, defaultSize, path, lockMode);
}

uint32_t ReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value, uint32_t *size,
                             const void *defaultValue, uint32_t defaultSize, uint32_t productID, const char *fileName,
                             int16_t lockMode)
{
  qv::ProductFilePath path;
  if (const Status status = composePath(productID, fileName, path); status != Status::success) {
    return result(status);
  }
  return ReadINIPathFileValue(section, key, type, value, size, defaultValue, defaultSize, path.text, lockMode);
}

uint32_t WriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value, uint32_t size,
                               const char *path, int16_t lockMode)
{
  const IniType *functions = typeOf(type);
  return functions == nullptr ? result(Status::badArgument)
                              : functions->write(section, key, value, size, path, lockMode);
}

uint32_t WriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value, uint32_t size,
                              uint32_t productID, const char *fileName, int16_t lockMode)
{
  qv::ProductFilePath path;
  if (const Status status = composePath(productID, fileName, path); status != Status::success) {
    return result(status);
  }
  return WriteINIPathFileValue(section, key, type, value, size, path.text, lockMode);
}

uint32_t SMReadINIPathFileValue(const char *section, const char *key, int32_t type, void *value, uint32_t *size,
                                const void *defaultValue, uint32_t defaultSize, const char *path, int16_t lockMode)
{
  const qv::ExportBracket bracket;
  return ReadINIPathFileValue(section, key, type, value, size, defaultValue, defaultSize, path, lockMode);
}

uint32_t SMReadINIPIDFileValue(const char *section, const char *key, int32_t type, void *value, uint32_t *size,
                               const void *defaultValue, uint32_t defaultSize, uint32_t productID, const char *fileName,
                               int16_t lockMode)
{
  const qv::ExportBracket bracket;
  return ReadINIPIDFileValue(section, key, type, value, size, defaultValue, defaultSize, productID, fileName, lockMode);
}

uint32_t SMReadINIFileValue(const char *section, const char *key, int32_t type, void *value, uint32_t *size,
                            const void *defaultValue, uint32_t defaultSize, const char *fileName, int16_t lockMode)
{
  return SMReadINIPIDFileValue(section, key, type, value, size, defaultValue, defaultSize, SM_PRODUCT_VELA, fileName,
                               lockMode);
}

uint32_t SMWriteINIPathFileValue(const char *section, const char *key, int32_t type, const void *value, uint32_t size,
                                 const char *path, int16_t lockMode)
{
  const qv::ExportBracket bracket;
  return WriteINIPathFileValue(section, key, type, value, size, path, lockMode);
}

uint32_t SMWriteINIPIDFileValue(const char *section, const char *key, int32_t type, const void *value, uint32_t size,
                                uint32_t productID, const char *fileName, int16_t lockMode)
{
  const qv::ExportBracket bracket;
  return WriteINIPIDFileValue(section, key, type, value, size, productID, fileName, lockMode);
}

uint32_t SMWriteINIFileValue(const char *section, const char *key, int32_t type, const void *value, uint32_t size,
                             const char *fileName, int16_t lockMode)
{
  return SMWriteINIPIDFileValue(section, key, type, value, size, SM_PRODUCT_VELA, fileName, lockMode);
}
