// Runs the benchmarks. Takes the options of Google Benchmark; bench/summary reads the file of --benchmark_out.

#include <vector>

#include "bench.h"

int main(int argc, char **argv)
{
  // Many short repetitions in a random order say more on a busy machine than a few long ones. An option of the caller's
  // comes later and counts.
  std::vector<char *> arguments(argv, argv + argc);
  char shortRuns[] = "--benchmark_min_time=0.05";
  arguments.insert(arguments.begin() + 1, shortRuns);
  argc = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  argv = arguments.data();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return EXIT_FAILURE;
  }
  benchmark::AddCustomContext("width", std::to_string(CHAR_BIT * sizeof(void *)));
  // The sandbox sets it where 32-bit programs run by emulation.
  const bool emulated = sizeof(void *) == sizeof(uint32_t) && getenv("QVSUPT32_EMULATED") != nullptr;
  benchmark::AddCustomContext("emulated", emulated ? "yes" : "no");
  (void)benchmark::RunSpecifiedBenchmarks();  // the number of rows; rows that failed say so themselves
  benchmark::Shutdown();
  return EXIT_SUCCESS;
}
