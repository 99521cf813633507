/* Languages: identifiers and locale names.
 *
 * A language identifier is a 32-bit LANGID: the primary language in the low 10 bits, the sublanguage in the 6 bits
 * above. The library knows ten:
 *
 *   es 1034   de 1031   en_US 1033   en_GB 2057   fr 1036   ja 1041   ko 2066   pt_BR 1046   zh 2052   zh_TW 1028
 *
 * and takes 1033 (en_US), the default, for every other. A locale name is one of these names as a whole: "de_DE",
 * "en_US.UTF-8" and "EN_US" are none of them. */
#ifndef QVSUPT32_LANGUAGE_H
#define QVSUPT32_LANGUAGE_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

#define SM_LANGUAGE_DEFAULT 1033u

/* Returns the language of the process: that of the locale name in the environment variable LANG, the default when it is
 * not set or holds something else.
 * Threads: reads the environment at every call, so no other thread may change it meanwhile. */
QVSUPT32_API uint32_t GetLocalLanguageID(void);
QVSUPT32_API uint32_t SMGetLocalLanguageID(void);

/* Returns the identifier of a locale name and sets *notFound to 0, or returns the default and sets it to 0xFFFFFFFF
 * when there is no such name. Neither pointer may be null. */
QVSUPT32_API uint32_t GetLangIDFromLocaleName(const char *localeName, uint32_t *notFound);

/* Returns the locale name of an identifier, a constant of the library; that of the default for one it does not know. */
QVSUPT32_API const char *GetLocaleNameFromLangID(uint32_t languageID);

/* Returns a copy of the locale name of GetLocalLanguageID, which the caller frees with SMFreeMem; null when the heap is
 * exhausted. Threads: as GetLocalLanguageID. */
QVSUPT32_API char *GetOSLocaleName(void);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
