// Lines by getline(3), with the end of a file told apart from an error.
#include "lines.h"

#include <errno.h>
#include <stdlib.h>

bool openLines(LineReader *reader, const char *path)
{
  *reader = (LineReader){.stream = fopen(path, "re")};
  return reader->stream != NULL;
}

char *nextLine(LineReader *reader)
{
  const ssize_t length = getline(&reader->line, &reader->capacity, reader->stream);
  if (length < 0) {
    return NULL;
  }
  if (length > 0 && reader->line[length - 1] == '\n') {
    reader->line[length - 1] = '\0';
  }
  return reader->line;
}

bool closeLines(LineReader *reader)
{
  const int error = errno;  // of getline, when that is what ended the lines
  const bool failed = ferror(reader->stream) != 0;
  free(reader->line);
  (void)fclose(reader->stream);  // only read from
  errno = error;
  return !failed;
}
