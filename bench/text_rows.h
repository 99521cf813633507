// Rows of the benchmarks of text: each repeats one piece of work, whose result is checked once before it is timed.
#pragma once

#include <utility>

#include "bench.h"

namespace bench {

/// Adds a row that times work(), which does so many items. check() tells whether the work is right, and runs it itself.
template <class Check, class Work>
void addTimedRow(const std::string &row, size_t itemsAnIteration, Check check, Work work)
{
  benchmark::RegisterBenchmark(row.c_str(), [=, checked = false](benchmark::State &state) mutable {
    require(std::exchange(checked, true) || check(), row, "gives a wrong result");
    for (auto _ : state) {
      work();
      benchmark::ClobberMemory();
    }
    countItems(state, itemsAnIteration);
  });
}

}  // namespace bench
