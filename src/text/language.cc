// Language identifiers and locale names: one table, and the language of the process from the environment.

#include "qvsupt32/language.h"

#include <cstdlib>
#include <cstring>

#include "base/alias.h"
#include "base/status.h"

namespace {

using qv::Status;

struct Language {
  const char *localeName;
  uint32_t id;
};

constexpr const char *kDefaultName = "en_US";

constexpr Language kLanguages[] = {
    {"es", 1034},    {"de", 1031},    {kDefaultName, SM_LANGUAGE_DEFAULT},
    {"en_GB", 2057}, {"fr", 1036},    {"ja", 1041},
    {"ko", 2066},    {"pt_BR", 1046}, {"zh", 2052},
    {"zh_TW", 1028},
};

}  // namespace

uint32_t GetLocalLanguageID(void)
{
  const char *localeName = getenv("LANG");
  uint32_t notFound;
  return localeName == nullptr ? SM_LANGUAGE_DEFAULT : GetLangIDFromLocaleName(localeName, &notFound);
}

QV_ALIAS(SMGetLocalLanguageID, GetLocalLanguageID)

uint32_t GetLangIDFromLocaleName(const char *localeName, uint32_t *notFound)
{
  *notFound = result(Status::success);
  for (const Language &language : kLanguages) {
    if (strcmp(localeName, language.localeName) == 0) {
      return language.id;
    }
  }
  *notFound = result(Status::unsuccessful);
  return SM_LANGUAGE_DEFAULT;
}

const char *GetLocaleNameFromLangID(uint32_t languageID)
{
  for (const Language &language : kLanguages) {
    if (language.id == languageID) {
      return language.localeName;
    }
  }
  return kDefaultName;
}

char *GetOSLocaleName(void)
{
  const char *localeName = GetLocaleNameFromLangID(GetLocalLanguageID());
  const size_t size = strlen(localeName) + 1;
  auto *copy = static_cast<char *>(malloc(size));
  if (copy != nullptr) {
    memcpy(copy, localeName, size);
  }
  return copy;
}
