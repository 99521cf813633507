// The global file lock beside the two system calls that it cannot do without, and threads that meet at the lock beside
// one that does their work.

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <thread>
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

void registerRows()
{
  benchmark::RegisterBenchmark("lock/pair/ours", lockOurs);
  benchmark::RegisterBenchmark("lock/pair/fcntl", lockBare);
  benchmark::RegisterBenchmark("lock/sets/2000/ours", setInThreads, 4)->UseRealTime();
  benchmark::RegisterBenchmark("lock/sets/2000/one_thread", setInThreads, 1)->UseRealTime();
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
