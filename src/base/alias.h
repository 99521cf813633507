// A second exported name for a function of the same source file. The compiler compares the two declared types, and a
// call through either name is the same call.
#pragma once

// GCC finds out that nothing in the library throws, and wants the second declaration to say so too; clang wants it
// equal to the first.
#ifdef __clang__
#define QV_ALIAS_ATTRIBUTES(name) alias(#name)
#else
#define QV_ALIAS_ATTRIBUTES(name) nothrow, alias(#name)
#endif

#define QV_ALIAS(otherName, name) \
  extern "C" QVSUPT32_API decltype(name) otherName __attribute__((QV_ALIAS_ATTRIBUTES(name)));
