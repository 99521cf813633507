// What the benchmarks share: checks, clean heaps, and the timing of a part of an iteration.
//
// A row is named subject/operation[/entries]/who, where who is "ours", a peer, or a limit that nobody can beat. Rows
// that differ in who alone do the same work on the same data. Every result is checked before it is timed.
#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace bench {

/// Adds the rows of a source file before main() starts.
struct Rows {
  explicit Rows(void (*add)()) { add(); }
};

constexpr uint32_t kSeed = 20240229;

/// Ends the whole run where a result is wrong: a time for wrong work says nothing.
inline void require(bool correct, const std::string &who, const char *what)
{
  if (!correct) {
    (void)fprintf(stderr, "qvsupt32_bench: %s: %s\n", who.c_str(), what);
    exit(EXIT_FAILURE);
  }
}

/// The value of a number or a pointer that the compiler can assume nothing about, as if it came from another program.
///
/// Where DoNotOptimize takes a variable it offers the compiler memory or a register for it, and GCC 12 then loses
/// values on i386: it stores none and reads the memory.
template <class T>
T opaque(T value)
{
  if constexpr (sizeof(T) <= sizeof(void *)) {
    asm volatile("" : "+r"(value) : : "memory");
  } else {
    asm volatile("" : "+m"(value) : : "memory");
  }
  return value;
}

/// Joins the small blocks that were freed, so that the next structure is laid out as in a new heap, whoever ran before.
/// The pages stay with the process: nobody is timed for getting them again.
inline void settleHeap()
{
  constexpr size_t kMakesMallocConsolidate = 128 * 1024;
  [[maybe_unused]] static const bool kept = mallopt(M_TRIM_THRESHOLD, INT_MAX) != 0 && mallopt(M_MMAP_MAX, 0) != 0;
  free(opaque(malloc(kMakesMallocConsolidate)));
}

/// The processor time from here to the end of the scope is the time of the iteration; the benchmark uses manual time.
class IterationTimer {
 public:
  explicit IterationTimer(benchmark::State &state) : state_(state) {}
  ~IterationTimer() { state_.SetIterationTime(now() - start_); }
  IterationTimer(const IterationTimer &) = delete;
  IterationTimer &operator=(const IterationTimer &) = delete;

 private:
  static double now()
  {
    timespec time;
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);  // every thread has this clock
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }

  benchmark::State &state_;
  double start_ = now();
};

/// Sets what the time of a row is divided by: one entry, one object, one lookup.
inline void countItems(benchmark::State &state, size_t itemsAnIteration)
{
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(itemsAnIteration));
}

}  // namespace bench
