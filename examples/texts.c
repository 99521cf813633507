/* Texts by number, in the language of the process (LANG) or in one that the caller names.
 *
 * usage: texts FILE NUMBER
 *
 * FILE is a string file; installations keep theirs at ini/qvunidat.txt below the install directory, where
 * SMGetUCS2StrFromID finds it without a path. */
#include <qvsupt32.h>
#include <stdio.h>
#include <stdlib.h>

static int print_text(const char *file, uint32_t number, uint32_t language)
{
  SMChar16 text[512];
  char bytes[2048];
  uint32_t size = sizeof(text), length = sizeof(bytes);
  const uint32_t wanted = language;
  /* A language that the file lacks becomes 0, its default. Failures come as a text that says why. */
  if (SMGetUCS2StrFromIDPathFile(number, &language, file, text, &size) == 0 ||
      SMUCS2StrToUTF8Str(bytes, &length, text) != SM_STATUS_SUCCESS)
    return 0;
  printf("%u as %u: %s\n", wanted, language, bytes);
  return 1;
}

int main(int argc, char **argv)
{
  if (argc != 3) {
    fprintf(stderr, "usage: texts FILE NUMBER\n");
    return 2;
  }
  const uint32_t number = (uint32_t)strtoul(argv[2], NULL, 10);
  return print_text(argv[1], number, SMGetLocalLanguageID()) && print_text(argv[1], number, 1031) &&
                 print_text(argv[1], number, 1041)
             ? 0
             : 1;
}
