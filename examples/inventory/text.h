// UTF-8 text from bytes that need not be: host names, mount points and interface names are whatever somebody typed.
#pragma once

#include <stddef.h>

// The length of the well-formed UTF-8 character that the bytes begin with, 0 when they begin with none. left is the
// number of bytes there are, at least 1.
size_t utf8Length(const char *bytes, size_t left);

// A copy of the bytes up to their terminator, with U+FFFD in place of each byte that is not UTF-8. The caller frees it;
// null when memory is short.
char *makeText(const char *bytes);
