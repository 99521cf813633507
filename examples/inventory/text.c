// UTF-8 by the table of well-formed byte sequences of the Unicode standard: no overlong forms, no surrogates, nothing
// above U+10FFFF.
#include "text.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

size_t utf8Length(const char *bytes, size_t left)
{
  const uint8_t lead = (uint8_t)bytes[0];
  if (lead < 0x80) {
    return 1;
  }
  size_t length;
  uint8_t lowest = 0x80;  // of the second byte
  uint8_t highest = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    lowest = lead == 0xE0 ? 0xA0 : 0x80;
    highest = lead == 0xED ? 0x9F : 0xBF;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    lowest = lead == 0xF0 ? 0x90 : 0x80;
    highest = lead == 0xF4 ? 0x8F : 0xBF;
  } else {
    return 0;
  }
  if (length > left || (uint8_t)bytes[1] < lowest || (uint8_t)bytes[1] > highest) {
    return 0;
  }
  for (size_t i = 2; i < length; ++i) {
    if (((uint8_t)bytes[i] & 0xC0) != 0x80) {
      return 0;
    }
  }
  return length;
}

char *makeText(const char *bytes)
{
  static const char kReplacement[] = "\xEF\xBF\xBD";
  const size_t size = strlen(bytes);
  char *text = malloc(size * (sizeof(kReplacement) - 1) + 1);
  if (text == NULL) {
    return NULL;
  }
  char *end = text;
  for (size_t i = 0; i < size;) {
    const size_t length = utf8Length(bytes + i, size - i);
    const char *character = length > 0 ? bytes + i : kReplacement;
    const size_t written = length > 0 ? length : sizeof(kReplacement) - 1;
    memcpy(end, character, written);
    end += written;
    i += length > 0 ? length : 1;
  }
  *end = '\0';
  return text;
}
