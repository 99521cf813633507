// What libFuzzer calls before the first input.

#include "support/inside_sandbox.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***argv)
{
  support::requireSandbox(**argv);
  return 0;
}
