// Strings by number in the suite's own resource file, with the numbers of the OEM range moved as the OEM settings say.
//
// Leaves to others: where the product is installed (locale/paths), how a setting is stored (store), and the lookup
// itself (string_file).

#include <atomic>

#include "base/status.h"
#include "frame/export.h"
#include "locale/paths/product_file.h"
#include "qvsupt32/paths.h"
#include "qvsupt32/resource.h"
#include "qvsupt32/store.h"

namespace {

constexpr uint32_t kDefaultBase = 2304;
constexpr uint32_t kDefaultRange = 32;

}  // namespace

uint32_t oemBase = 0;
uint32_t oemRange = kDefaultRange;
uint32_t oemOffset = 0;

namespace {

using qv::Status;

/// An exported variable that several threads may set to the same value.
using Shared = std::atomic_ref<uint32_t>;

/// An OEM setting, or a default if it is missing or cannot be read.
uint32_t readSetting(const char *key, uint32_t byDefault)
{
  uint32_t value = byDefault;
  uint32_t size = sizeof(value);
  const uint32_t status = ReadINIPIDFileValue("OEM Configuration", key, SM_INI_TYPE_U32, &value, &size, &byDefault,
                                              sizeof(byDefault), SM_PRODUCT_VELA, "qvprv32.ini", 1);
  return status == result(Status::success) ? value : byDefault;
}

/// Reads the settings once. The base is stored last, since its being set means that all are.
void readSettings()
{
  if (Shared(oemBase).load(std::memory_order_acquire) != 0) {
    return;
  }
  const uint32_t base = readSetting("BaseID", kDefaultBase);
  Shared(oemRange).store(readSetting("oemRange", kDefaultRange), std::memory_order_relaxed);
  Shared offset(oemOffset);
  offset.store(readSetting("offset", offset.load(std::memory_order_relaxed)), std::memory_order_relaxed);
  Shared(oemBase).store(base, std::memory_order_release);
}

/// The number under which a string is stored.
uint32_t moved(uint32_t stringID)
{
  const uint32_t base = Shared(oemBase).load(std::memory_order_acquire);
  const bool inRange = stringID >= base && stringID - base <= Shared(oemRange).load(std::memory_order_relaxed);
  return inRange ? stringID + Shared(oemOffset).load(std::memory_order_relaxed) : stringID;
}

}  // namespace

uint32_t GetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size)
{
  readSettings();
  qv::ProductFilePath path;
  if (qv::composeProductFilePath(SM_PRODUCT_VELA, "ini", "qvunidat.txt", path) != Status::success) {
    if (size != nullptr) {
      *size = 0;
    }
    return 0;
  }
  return GetUCS2StrFromIDPathFile(moved(stringID), language, path.text, buffer, size);
}

uint32_t SMGetUCS2StrFromID(uint32_t stringID, uint32_t *language, SMChar16 *buffer, uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetUCS2StrFromID(stringID, language, buffer, size);
}
