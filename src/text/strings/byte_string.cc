// The 8-bit string functions. The locale decides which bytes are letters for strupr and strlwr; UTF8Strnicmp knows ASCII
// only.

#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/alias.h"
#include "qvsupt32/strings.h"

namespace {

/// The letters A to Z become small letters.
uint8_t small(char c)
{
  const auto byte = static_cast<uint8_t>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<uint8_t>(byte - 'A' + 'a') : byte;
}

/// Maps every byte by a function of <cctype>.
char *mapBytes(char *s, int (*map)(int))
{
  for (char *at = s; *at != 0; ++at) {
    *at = static_cast<char>(map(static_cast<unsigned char>(*at)));
  }
  return s;
}

}  // namespace

int32_t UTF8Strnicmp(const char *s, const char *t, uint32_t n)
{
  for (size_t i = 0; i < n; ++i) {
    const int32_t order = small(s[i]) - small(t[i]);
    if (order != 0 || s[i] == '\0') {
      return order;
    }
  }
  return 0;
}

QV_ALIAS(SMUTF8Strnicmp, UTF8Strnicmp)

char *strupr(char *s)
{
  return mapBytes(s, toupper);
}

QV_ALIAS(SMUTF8StrUpperCase, strupr)

char *strlwr(char *s)
{
  return mapBytes(s, tolower);
}

QV_ALIAS(SMUTF8StrLowerCase, strlwr)

char *strrev(char *s)
{
  std::reverse(s, s + strlen(s));
  return s;
}

QV_ALIAS(SMUTF8Strrev, strrev)
