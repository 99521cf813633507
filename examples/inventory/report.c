// Lines to standard output and standard error. A failure to write shows in ferror(stdout), which main() looks at.
#include "report.h"

#include <stdarg.h>
#include <stdio.h>

static void writeLine(FILE *stream, const char *side, const char *format, va_list arguments)
{
  (void)fflush(stdout);  // what was said before comes out before, also where both streams lead to one place
  (void)fprintf(stream, "%s: ", side);
  (void)vfprintf(stream, format, arguments);
  (void)fputc('\n', stream);
  (void)fflush(stream);
}

void say(const char *side, const char *format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  writeLine(stdout, side, format, arguments);
  va_end(arguments);
}

void complain(const char *side, const char *format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  writeLine(stderr, side, format, arguments);
  va_end(arguments);
}
