// The global file lock beside the two system calls that it cannot do without; threads that meet at the lock beside one
// that does their work; and processes that do, with the longest wait and the share of the one that got the least.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

/// A file of its own beside the IPC file, since closing a second descriptor of that one would drop its locks.
class ScratchFile {
 public:
  ScratchFile()
  {
    std::string path = l_ipc_filename;
    path.replace(path.rfind('/') + 1, std::string::npos, ".benchXXXXXX");
    descriptor_ = mkostemp(path.data(), O_CLOEXEC);
    require(descriptor_ >= 0 && unlink(path.c_str()) == 0, path, "cannot be made");
  }
  ~ScratchFile() { (void)close(descriptor_); }
  ScratchFile(const ScratchFile &) = delete;
  ScratchFile &operator=(const ScratchFile &) = delete;

  /// The call that the global lock makes, on the same record number.
  [[nodiscard]] bool setLock(short type) const
  {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = hGFileLock;
    lock.l_len = 1;
    return fcntl(descriptor_, F_SETLK, &lock) == 0;
  }

 private:
  int descriptor_;
};

bool hasLock(benchmark::State &state)
{
  if (hGFileLock == 0) {
    state.SkipWithError("the library has no global file lock here: the directory of the IPC file is missing");
    return false;
  }
  return true;
}

void lockOurs(benchmark::State &state)
{
  if (!hasLock(state)) {
    return;
  }
  require(FileLock(0) == 1 && FileUnlock() == 0, "lock/pair/ours", "the lock is not obtained and released");
  for (auto _ : state) {
    uint32_t locked = FileLock(0);
    benchmark::DoNotOptimize(locked);
    int32_t unlocked = FileUnlock();
    benchmark::DoNotOptimize(unlocked);
  }
  countItems(state, 1);
}

void lockBare(benchmark::State &state)
{
  if (!hasLock(state)) {
    return;
  }
  const ScratchFile file;
  require(file.setLock(F_WRLCK) && file.setLock(F_UNLCK), "lock/pair/fcntl", "the record is not locked and unlocked");
  for (auto _ : state) {
    bool locked = file.setLock(F_WRLCK);
    benchmark::DoNotOptimize(locked);
    bool unlocked = file.setLock(F_UNLCK);
    benchmark::DoNotOptimize(unlocked);
  }
  countItems(state, 1);
}

constexpr int kSets = 2000;

void setKeys(const std::string &path, const std::string &key, int count)
{
  for (int i = 0; i < count; ++i) {
    const std::string value = std::to_string(i);
    require(WriteINIFileValue_astring("section", key.c_str(), value.c_str(), static_cast<uint32_t>(value.size() + 1),
                                      path.c_str(), SM_LOCK_WAIT) == SM_STATUS_SUCCESS,
            "lock/sets", "a value is not set");
  }
}

/// Sets keys of one file in threads, all of which start together.
void setInThreads(benchmark::State &state, int threadCount)
{
  if (!hasLock(state)) {
    return;
  }
  const std::string path = "/dev/shm/bench-lock.ini";
  setKeys(path, "thread0", 1);
  for (auto _ : state) {
    std::vector<std::thread> threads;
    for (int i = 1; i < threadCount; ++i) {
      threads.emplace_back(
          [&path, i, threadCount] { setKeys(path, "thread" + std::to_string(i), kSets / threadCount); });
    }
    setKeys(path, "thread0", kSets / threadCount);
    for (std::thread &thread : threads) {
      thread.join();
    }
  }
  (void)unlink(path.c_str());
  countItems(state, kSets);
}

// Processes -----------------------------------------------------------------------------------------------------------

/// What a process has done between two moments that all share.
struct Tally {
  uint32_t sets;
  double worstWait;  // of one set, in seconds
};

/// What the processes share.
struct Contest {
  static constexpr size_t kMostProcesses = 32;

  std::atomic<uint32_t> ready;
  std::atomic<bool> started;
  Tally tallies[kMostProcesses];
};

double secondsNow()
{
  timespec time;
  (void)clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// How long processes set keys in a run.
constexpr double kContestSeconds = 0.25;

[[noreturn]] void takePart(Contest &contest, size_t number, const std::string &path, useconds_t pause)
{
  Tally &tally = contest.tallies[number];
  const std::string key = "process" + std::to_string(number);
  setKeys(path, key, 1);
  contest.ready.fetch_add(1);
  while (!contest.started.load()) {
    (void)sched_yield();
  }
  double now = secondsNow();
  for (const double end = now + kContestSeconds; now < end;) {
    setKeys(path, key, 1);
    const double before = std::exchange(now, secondsNow());
    tally.worstWait = std::max(tally.worstWait, now - before);
    ++tally.sets;
    if (pause != 0) {
      (void)usleep(pause);
      now = secondsNow();
    }
  }
  _exit(EXIT_SUCCESS);
}

/// Lets processes set keys of one file, with pauses of so many microseconds between the sets or without any.
std::vector<Tally> contend(size_t processes, useconds_t pause)
{
  const std::string path = "/dev/shm/bench-processes.ini";
  void *const shared = mmap(nullptr, sizeof(Contest), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  require(shared != MAP_FAILED, "lock/processes", "no memory is shared");
  auto *const contest = new (shared) Contest{};
  std::vector<pid_t> children;
  for (size_t i = 0; i < processes; ++i) {
    const pid_t child = fork();
    require(child >= 0, "lock/processes", "there is no process");
    if (child == 0) {
      takePart(*contest, i, path, pause);
    }
    children.push_back(child);
  }
  while (contest->ready.load() < processes) {
    (void)usleep(100);
  }
  contest->started.store(true);
  for (const pid_t child : children) {
    int status = 0;
    require(waitpid(child, &status, 0) == child && status == 0, "lock/processes", "a process fails");
  }
  const std::vector<Tally> tallies(contest->tallies, contest->tallies + processes);
  (void)munmap(shared, sizeof(Contest));
  (void)unlink(path.c_str());
  return tallies;
}

/// The time of a set, whoever makes it: flat from two processes on if they do not disturb each other.
void setInProcesses(benchmark::State &state, size_t processes)
{
  if (!hasLock(state)) {
    return;
  }
  int64_t sets = 0;
  for (auto _ : state) {
    for (const Tally &tally : contend(processes, 0)) {
      sets += tally.sets;
    }
    state.SetIterationTime(kContestSeconds);
  }
  state.SetItemsProcessed(sets);
}

/// The longest time that a set took. A process that waits looks for the lock once a millisecond, so one that sets keys
/// without a pause leaves the others little.
void waitInProcesses(benchmark::State &state, size_t processes, useconds_t pause)
{
  if (!hasLock(state)) {
    return;
  }
  const auto bySets = [](const Tally &a, const Tally &b) { return a.sets < b.sets; };
  for (auto _ : state) {
    double worst = 0;
    const std::vector<Tally> tallies = contend(processes, pause);
    for (const Tally &tally : tallies) {
      worst = std::max(worst, tally.worstWait);
    }
    state.SetIterationTime(worst);
    const auto [fewest, most] = std::minmax_element(tallies.begin(), tallies.end(), bySets);
    state.counters["fairness"] = static_cast<double>(fewest->sets) / most->sets;
  }
  countItems(state, 1);
}

void addProcessRows()
{
  for (const size_t processes : {1, 2, 4, 8, 16, 32}) {
    const std::string number = std::to_string(processes) + "/ours";
    benchmark::RegisterBenchmark(("lock/processes/" + number).c_str(), setInProcesses, processes)
        ->UseManualTime()
        ->Iterations(1);
    constexpr useconds_t kPause = 10000;
    benchmark::RegisterBenchmark(("lock/worst_wait/" + number).c_str(), waitInProcesses, processes, kPause)
        ->UseManualTime()
        ->Iterations(1);
    benchmark::RegisterBenchmark(("lock/worst_wait_without_pause/" + number).c_str(), waitInProcesses, processes, 0)
        ->UseManualTime()
        ->Iterations(1);
  }
}

void registerRows()
{
  addProcessRows();
  benchmark::RegisterBenchmark("lock/pair/ours", lockOurs);
  benchmark::RegisterBenchmark("lock/pair/fcntl", lockBare);
  benchmark::RegisterBenchmark("lock/sets/2000/ours", setInThreads, 4)->UseRealTime();
  benchmark::RegisterBenchmark("lock/sets/2000/one_thread", setInThreads, 1)->UseRealTime();
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
