// The version of the library that is loaded, beside that of the headers that a program was compiled with.

#include "qvsupt32/frame.h"

const char *SMGetVersionText(void)
{
  return QVSUPT32_VERSION_STRING;
}
