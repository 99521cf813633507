// Strings of the library's own product by number: where their file is, and which numbers an OEM moved elsewhere.

#include <cstdio>

#include "frame/export.h"
#include "frame/global_lock.h"
#include "qvsupt32/paths.h"
#include "qvsupt32/resource.h"
#include "qvsupt32/store.h"

uint32_t oemBase = 0;
uint32_t oemRange = 32;
uint32_t oemOffset = 0;

namespace {

/// Reads a setting, which keeps its default where the file does not have it.
void readSetting(const char *key, uint32_t &setting)
{
  const uint32_t byDefault = setting;
  uint32_t size = sizeof(setting);
  if (ReadINIPIDFileValue("OEM Configuration", key, SM_INI_TYPE_U32, &setting, &size, &byDefault, sizeof(byDefault),
                          SM_PRODUCT_VELA, "qvprv32.ini", qv::kFileLockWait) != SM_STATUS_SUCCESS) {
    setting = byDefault;
  }
}

/// Reads the settings once a process. Several threads may do so at the same time; a base that is not 0 says that the
/// other two settings are there.
uint32_t readSettings()
{
  uint32_t base = __atomic_load_n(&oemBase, __ATOMIC_ACQUIRE);
  if (base != 0) {
    return base;
  }
  base = 2304;
  uint32_t range = 32;
  uint32_t offset = __atomic_load_n(&oemOffset, __ATOMIC_RELAXED);
  readSetting("BaseID", base);
  readSetting("oemRange", range);
  readSetting("offset", offset);
  __atomic_store_n(&oemRange, range, __ATOMIC_RELAXED);
  __atomic_store_n(&oemOffset, offset, __ATOMIC_RELAXED);
  __atomic_store_n(&oemBase, base, __ATOMIC_RELEASE);
  return base;
}

/// The number under which a string is looked up.
uint32_t remap(uint32_t stringID)
{
  const uint32_t base = readSettings();
  const uint32_t range = __atomic_load_n(&oemRange, __ATOMIC_RELAXED);
  const bool isOem = stringID >= base && stringID - base <= range;
  return isOem ? stringID + __atomic_load_n(&oemOffset, __ATOMIC_RELAXED) : stringID;
}

uint32_t lookUp(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size)
{
  char installPath[256];
  uint32_t installPathSize = sizeof(installPath);
  char path[256];
  const uint32_t remapped = remap(stringID);
  if (SUPTMiscGetInstallPathByProductID(SM_PRODUCT_VELA, installPath, &installPathSize) != SM_STATUS_SUCCESS) {
    return 0;
  }
  const int length = snprintf(path, sizeof(path), "%s/ini/%s", installPath, "qvunidat.txt");
  if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
    return 0;
  }
  return GetUCS2StrFromIDPathFile(remapped, language, path, buffer, size);
}

}  // namespace

uint32_t GetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size)
{
  const uint32_t copied = lookUp(stringID, language, buffer, size);
  if (size != nullptr) {
    *size = copied;
  }
  return copied;
}

uint32_t SMGetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetUCS2StrFromID(stringID, language, buffer, size);
}
