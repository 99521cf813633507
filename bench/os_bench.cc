// The locks that programs meet by name or by handle, uncontended, beside the calls that they cannot do without, and the
// sections named by routines beside the two mutexes and the lookup that they cannot do without. Loading and unloading the
// library, attach and detach included, beside a library that does nothing then.

#include <dlfcn.h>
#include <fcntl.h>
#include <md5.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

constexpr char kName[] = "benchmark";

/// A lock with lock() and unlock(), both true when done.
class OurMutex {
 public:
  explicit OurMutex(const char *name) : handle_(OSMutexCreate(name)) {}
  ~OurMutex() { OSMutexDestroy(handle_); }
  OurMutex(const OurMutex &) = delete;
  OurMutex &operator=(const OurMutex &) = delete;

  bool lock() { return OSMutexLock(handle_, SM_WAIT_FOREVER) == 0; }
  bool unlock() { return OSMutexUnLock(handle_) == 0; }

 private:
  OSSyncInfo *handle_;
};

struct OurNamedMutex : OurMutex {
  OurNamedMutex() : OurMutex(kName) {}
};

struct OurUnnamedMutex : OurMutex {
  OurUnnamedMutex() : OurMutex(nullptr) {}
};

class OurSemaphore {
 public:
  OurSemaphore() : handle_(OSSemaphoreCreate(kName, 1)) {}
  ~OurSemaphore() { OSSemaphoreDestroy(handle_); }
  OurSemaphore(const OurSemaphore &) = delete;
  OurSemaphore &operator=(const OurSemaphore &) = delete;

  bool lock() { return OSSemaphoreAcquireWait(handle_, SM_WAIT_FOREVER) == 0; }
  bool unlock() { return OSSemaphoreRelease(handle_, 1, nullptr) == 0; }

 private:
  OSSyncInfo *handle_;
};

/// An event with automatic reset.
class OurEvent {
 public:
  OurEvent() : handle_(OSEventCreate(kName, 0, 1)) {}
  ~OurEvent() { OSEventDestroy(handle_); }
  OurEvent(const OurEvent &) = delete;
  OurEvent &operator=(const OurEvent &) = delete;

  bool lock() { return OSEventWait(handle_, SM_WAIT_FOREVER) == 0; }
  bool unlock() { return OSEventSet(handle_) == 0; }

 private:
  OSSyncInfo *handle_;
};

class Flock {
 public:
  Flock() : descriptor_(open(kPath, O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)) {}
  ~Flock()
  {
    (void)close(descriptor_);
    (void)unlink(kPath);
  }
  Flock(const Flock &) = delete;
  Flock &operator=(const Flock &) = delete;

  bool lock() const { return flock(descriptor_, LOCK_EX) == 0; }
  bool unlock() const { return flock(descriptor_, LOCK_UN) == 0; }

 private:
  static constexpr char kPath[] = "/etc/tallowmere/vela/.bench-flock";  // beside the lock files of ours
  int descriptor_;
};

class ThreadMutex {
 public:
  bool lock() { return pthread_mutex_lock(&mutex_) == 0; }
  bool unlock() { return pthread_mutex_unlock(&mutex_) == 0; }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class Semop {
 public:
  Semop() : id_(semget(IPC_PRIVATE, 1, IPC_CREAT | S_IRUSR | S_IWUSR)) { (void)change(1); }
  ~Semop() { (void)semctl(id_, 0, IPC_RMID); }
  Semop(const Semop &) = delete;
  Semop &operator=(const Semop &) = delete;

  bool lock() const { return change(-1); }
  bool unlock() const { return change(1); }

 private:
  bool change(short by) const
  {
    sembuf operation = {0, by, 0};
    return semop(id_, &operation, 1) == 0;
  }

  int id_;
};

template <class Lock>
void addLockRow(const char *operation, const char *who)
{
  const std::string row = "lock/" + std::string(operation) + "/" + who;
  benchmark::RegisterBenchmark(row.c_str(), [row](benchmark::State &state) {
    // A lock is for threads. The C library spares a process that never started one the atomic operations.
    std::thread([] {}).join();
    Lock lock;
    require(lock.lock() && lock.unlock(), row, "does not lock and unlock");
    for (auto _ : state) {
      benchmark::DoNotOptimize(lock.lock());
      benchmark::DoNotOptimize(lock.unlock());
    }
    countItems(state, 1);
  });
}

// Sections ------------------------------------------------------------------------------------------------------------

uint32_t runs;  // guarded by the section

uint32_t countRun(uintptr_t)
{
  ++runs;
  return 0;
}

void runInOurs()
{
  OSCriticalSectionExecute(countRun, 0, SM_WAIT_FOREVER);
}

/// A registry that keeps the section of every routine for ever.
void runInMutexes()
{
  static pthread_mutex_t registryLock = PTHREAD_MUTEX_INITIALIZER;
  static std::map<OSRoutine, std::unique_ptr<ThreadMutex>> registry;
  (void)pthread_mutex_lock(&registryLock);
  std::unique_ptr<ThreadMutex> &section = registry[countRun];
  if (section == nullptr) {
    section = std::make_unique<ThreadMutex>();
  }
  ThreadMutex *mutex = section.get();
  (void)pthread_mutex_unlock(&registryLock);
  (void)mutex->lock();
  (void)countRun(0);
  (void)mutex->unlock();
}

void addSectionRow(int threads, const char *who, void (*run)())
{
  const std::string row = "section/execute/" + std::to_string(threads) + "/" + who;
  benchmark::RegisterBenchmark(row.c_str(),
                               [row, threads, run](benchmark::State &state) {
                                 if (state.thread_index() == 0) {
                                   runs = 0;
                                 }
                                 for (auto _ : state) {  // all threads start together, and end together
                                   run();
                                 }
                                 const auto expected = static_cast<uint32_t>(state.iterations() * threads);
                                 require(state.thread_index() != 0 || runs == expected, row, "runs were lost");
                                 countItems(state, 1);
                               })
      ->Threads(threads)
      ->UseRealTime();
}

// Loading -------------------------------------------------------------------------------------------------------------

/// The path of a second copy of the library that a function belongs to: this program has the first one loaded.
std::string copyOfLibrary(const void *function)
{
  Dl_info home = {};
  (void)dladdr(function, &home);
  std::ifstream library(home.dli_fname, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(library), {}};
  const int descriptor = memfd_create("copy", MFD_CLOEXEC);
  require(!bytes.empty() && write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
          "library/load", "a library cannot be copied");
  return "/proc/self/fd/" + std::to_string(descriptor);
}

void addLoadRow(const char *who, const void *function)
{
  const std::string row = std::string("library/load/") + who;
  benchmark::RegisterBenchmark(row.c_str(), [row, function](benchmark::State &state) {
    const std::string path = copyOfLibrary(function);
    for (auto _ : state) {
      void *library = dlopen(path.c_str(), RTLD_LAZY);
      require(library != nullptr && dlclose(library) == 0, row, "is not loaded and unloaded");
    }
    countItems(state, 1);
  });
}

void registerRows()
{
  addLockRow<OurNamedMutex>("named_mutex", "ours");
  addLockRow<Flock>("named_mutex", "flock");
  addLockRow<OurUnnamedMutex>("unnamed_mutex", "ours");
  addLockRow<ThreadMutex>("unnamed_mutex", "pthread_mutex");
  addLockRow<OurSemaphore>("semaphore", "ours");
  addLockRow<Semop>("semaphore", "semop");
  addLockRow<OurEvent>("event", "ours");
  addLockRow<Semop>("event", "semop");
  addLoadRow("ours", reinterpret_cast<const void *>(OSLibLoad));
  addLoadRow("libmd", reinterpret_cast<const void *>(MD5Init));
  for (const int threads : {1, 2}) {
    addSectionRow(threads, "ours", runInOurs);
    addSectionRow(threads, "mutexes", runInMutexes);
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
