// Replays kept inputs: calls the fuzz target once for every file of the directories given, and fails when there is
// none.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/inside_sandbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
  support::requireSandbox(argv[0]);
  unsigned replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      std::vector<uint8_t> input(bytes.begin(), bytes.end());
      (void)LLVMFuzzerTestOneInput(input.data(), input.size());
      ++replayed;
    }
  }
  printf("%u inputs replayed\n", replayed);
  return replayed == 0 ? 1 : 0;
}
