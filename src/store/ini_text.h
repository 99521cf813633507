// Reading and writing a key's text in an INI file, for the typed values on top of it. Arguments and statuses as
// ReadINIFileValue_astring and WriteINIFileValue_astring.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace qv {

/// Where a value is stored.
struct IniPlace {
  const char *section;
  const char *key;
  const char *path;
  int16_t lockMode;
};

Status readIniText(const IniPlace &place, char *buffer, uint32_t *size, const char *defaultText, uint32_t defaultSize);

Status writeIniText(const IniPlace &place, const char *value, uint32_t size);

}  // namespace qv
