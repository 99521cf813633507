// A text file of the kernel, read line by line, whatever the length of its lines.
#pragma once

#include <stdbool.h>
#include <stdio.h>

typedef struct LineReader {
  FILE *stream;
  char *line;
  size_t capacity;
} LineReader;

// False when there is no such file to be read: nothing has to be closed then.
bool openLines(LineReader *reader, const char *path);

// The next line without its line feed, which the reader owns and may be written to until the next call; null at the end
// and on an error.
char *nextLine(LineReader *reader);

// False, and errno says why, when the lines ended because of an error.
bool closeLines(LineReader *reader);
