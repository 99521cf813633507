// A second exported name for a function of the same source file. The compiler compares the two declared types, and a
// call through either name is the same call.
#pragma once

#define QV_ALIAS(otherName, name) \
  extern "C" QVSUPT32_API decltype(name) otherName __attribute__((nothrow, alias(#name)));
