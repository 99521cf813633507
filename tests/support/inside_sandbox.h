// Keeps a program that writes to the real paths from doing so outside tests/support/sandbox.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace support {

/// Whether /etc is the scratch copy that the sandbox mounts, under a name that nothing else uses.
inline bool isInsideSandbox()
{
  std::ifstream mounts("/proc/self/mounts");
  for (std::string line; std::getline(mounts, line);) {
    if (line.starts_with("scratch-etc /etc tmpfs ")) {
      return true;
    }
  }
  return false;
}

/// Ends the program where it is not.
inline void requireSandbox(const char *program)
{
  if (!isInsideSandbox()) {
    fprintf(stderr, "%s writes to /etc and removes logs there. Run it as: tests/support/sandbox %s\n", program,
            program);
    exit(2);
  }
}

}  // namespace support
