// IPC names, record locks, global and local mutexes, semaphores: exact statuses and numbers of tries and sleeps,
// failing calls, and other processes that hold, die, exec and fork. What changes the state of the process runs in a
// child.

#include "qvsupt32/os.h"

#include <pthread.h>
#include <sched.h>
#include <sys/sem.h>

#include "support/observed_thread.h"
#include "support/signed_statuses.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr char kConfigFile[] = "/etc/vela.conf";
constexpr char kShared[] = "/etc/tallowmere/shared";
constexpr uint32_t kDefaultBase = 100000;
constexpr key_t kKey = 0x51560001;

std::string lockText(uint32_t record)
{
  return "WRITE " + std::to_string(record) + " " + std::to_string(record) + "\n";
}

std::string ownLocks()
{
  return recordLocks(getpid());
}

class IpcName : public testing::Test {
 protected:
  ~IpcName() override
  {
    fs::remove(kConfigFile);
    l_ipc_name_base = kDefaultBase;
  }

  /// The base that a process gets whose first name meets the file as it is now.
  static uint32_t base()
  {
    l_ipc_name_base = 0xFFFFFFFF;
    return CreateIPCName(0);
  }

  static uint32_t base(const std::string &content)
  {
    put(kConfigFile, content);
    return base();
  }
};

TEST_F(IpcName, BaseComesFromTheFirstMatchingLine)
{
  const std::string key = "ipcnamebase=";
  const struct {
    std::string content;
    uint32_t base;
  } rows[] = {
      {"", kDefaultBase},
      {key + "5000\n" + key + "6000\n", 5000},
      {"other=1\n#" + key + "2\nx" + key + "3\n\nipcnamebase\n" + key + "x\n" + key + "7 ; 8", 7},
      {" \t\v\f\r" + key + " \t\v\f\r7\r\n", 7},
      {"ipcnamebase =1\nipc namebase=2\nIPCNAMEBASE=3\n" + key + "\n4\n", kDefaultBase},
      {key + "+-1\n" + key + "- 2\n" + key + "--3\n" + key + "-\n" + key, kDefaultBase},
      {key + "0x10\n", 0},
      // Beyond 32 signed bits the nearest number counts.
      {key + "2147483648\n", 0x7FFFFFFF},
      {key + "-2147483648\n", 0x80000000},
      {key + "-2147483649\n", 0x80000000},
      {key + "-" + std::string(100, '9'), 0x80000000},
      // A NUL ends the text of a line, not the line.
      {key + "1\0002\n"s, 1},
      {key + "\0001\n\0"s + key + "2\n x\0\n"s + key + "3\n", 3},
      // A long line is tested in pieces of 255 characters.
      {std::string(254, 'x') + key + "7\n", kDefaultBase},
      {std::string(255, 'x') + key + "7\n", 7},
      {std::string(243, ' ') + key + "12\n", kDefaultBase},
      {std::string(242, ' ') + key + "12\n", 1},
      {std::string(100000, ' ') + "\n" + key + "7", 7},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(base(row.content), row.base) << testing::PrintToString(row.content);
  }
}

TEST_F(IpcName, BaseIsReadOnceUnlessItIsMinusOne)
{
  EXPECT_EQ(base("ipcnamebase=2\n"), 2u);
  put(kConfigFile, "ipcnamebase=3\n");
  EXPECT_EQ(CreateIPCName(0xFFFFFFFF), 1u) << "modulo 2^32";
  EXPECT_EQ(base("ipcnamebase=-1\n"), 0xFFFFFFFF);
  put(kConfigFile, "ipcnamebase=5\n");
  EXPECT_EQ(CreateIPCName(1), 6u);
}

TEST_F(IpcName, UnreadableFileGivesTheDefault)
{
  const std::string twoReads = std::string(300, 'x') + "\nipcnamebase=7\n";
  const struct {
    Call call;
    unsigned nth;
    int error;
    std::string content;
    uint32_t base;
  } rows[] = {{Call::open, 1, EACCES, twoReads, kDefaultBase},
              {Call::read, 1, EIO, twoReads, kDefaultBase},
              {Call::read, 2, EIO, twoReads, kDefaultBase},
              {Call::read, 2, EINTR, twoReads, 7},
              {Call::read, 2, EIO, "ipcnamebase=7", kDefaultBase}};  // the rest of the number is unknown
  for (const auto &row : rows) {
    const Fault fault(row.call, row.nth, row.error);
    EXPECT_EQ(base(row.content), row.base) << &row - rows;
    EXPECT_TRUE(fault.struck());
  }
  fs::remove(kConfigFile);
  EXPECT_EQ(base(), kDefaultBase) << "missing";
  fs::create_directory(kConfigFile);
  EXPECT_EQ(base(), kDefaultBase) << "a directory";
  fs::remove(kConfigFile);
  ASSERT_EQ(mkfifo(kConfigFile, 0644), 0);
  EXPECT_EQ(base(), kDefaultBase) << "a FIFO without a writer";
}

/// What a process gets that has not opened the IPC file yet: result, path; mode, size and access of the file.
std::string firstOpen()
{
  return Child([](Inside &inside) {
           CloseIPCFile();
           l_ipc_filename = nullptr;
           umask(0);
           const int32_t result = OpenIPCFile();
           struct stat status = {};
           fstat(l_ipc_fd, &status);
           inside.report("%d %s %o %d %d", result, l_ipc_filename, status.st_mode & 07777u,
                         static_cast<int>(status.st_size), fcntl(l_ipc_fd, F_GETFL) & O_ACCMODE);
         })
      .report();
}

TEST(IpcFile, PathDependsOnTheSharedDirectoryAndIsChosenOnce)
{
  const std::string aside = kIpcFile + ".aside"s;
  fs::rename(kIpcFile, aside);
  const std::string own = "0 /etc/tallowmere/vela/.velaipc 600 0 2\n";
  EXPECT_EQ(firstOpen(), own);
  fs::rename(aside, kIpcFile);
  fs::create_directory(kShared);
  EXPECT_EQ(firstOpen(), "0 /etc/tallowmere/shared/.sharedipc 600 0 2\n");
  {
    const Fault fault(Call::access, 1, EACCES);
    EXPECT_EQ(firstOpen(), own);
  }
  Child chosen([](Inside &inside) {
    inside.report({CloseIPCFile(), OpenIPCFile()});
    inside.report("%s", l_ipc_filename);
  });
  EXPECT_EQ(chosen.report(), "0 0\n/etc/tallowmere/vela/.velaipc\n");
  fs::remove_all(kShared);
  put(kShared, "x");
  EXPECT_EQ(firstOpen(), "-1 /etc/tallowmere/shared/.sharedipc 0 0 3\n") << "a plain file counts as existing";
  fs::remove(kShared);
}

TEST(IpcFile, OpensOnceAboveTheStandardStreamsAndClosesOnce)
{
  Child child([](Inside &inside) {
    const Fault opens(Call::open);
    const Fault closes(Call::close);
    const int32_t descriptor = l_ipc_fd;
    inside.report({OpenIPCFile(), l_ipc_fd == descriptor, opens.calls()});
    for (int i = 0; i < 2; ++i) {
      inside.report({CloseIPCFile(), l_ipc_fd, closes.calls(), fcntl(descriptor, F_GETFD)});
    }
    close(STDIN_FILENO);
    for (const unsigned failing : {1u, 0u}) {
      const Fault fault(Call::fcntl, failing, EMFILE);
      inside.report({OpenIPCFile(), l_ipc_fd > STDERR_FILENO, fcntl(l_ipc_fd, F_GETFD), fcntl(STDIN_FILENO, F_GETFD)});
    }
  });
  EXPECT_EQ(child.report(), "0 1 0\n0 -1 1 -1\n0 -1 1 -1\n-1 0 -1 -1\n0 1 1 -1\n");
}

TEST(RecordLock, EveryNumberIsOneByteOfItsOwn)
{
  for (const uint32_t record : {0u, 120000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(LockIPCFileRecord(record, 0), 0);
    EXPECT_EQ(ownLocks(), lockText(record));
    EXPECT_EQ(LockIPCFileRecord(record, 0), 0) << "the process holds it already";
    EXPECT_EQ(LockIPCFileRecord(record, SM_WAIT_FOREVER), 0);
    EXPECT_EQ(UnlockIPCFileRecord(record), 0);
    EXPECT_EQ(ownLocks(), "") << "one unlock is enough";
    EXPECT_EQ(UnlockIPCFileRecord(record), 0) << "a record that is not locked";
  }
  EXPECT_EQ(fs::file_size(kIpcFile), 0u);
}

TEST(RecordLock, BadDescriptorIsOpenedAgain)
{
  const std::function<int32_t()> functions[] = {[] { return LockIPCFileRecord(5, SM_WAIT_FOREVER); },
                                                [] { return LockIPCFileRecord(5, 0); },
                                                [] { return UnlockIPCFileRecord(5); }};
  for (const auto &function : functions) {
    for (const bool byLibrary : {true, false}) {
      Child child([&](Inside &inside) {
        byLibrary ? CloseIPCFile() : close(l_ipc_fd);
        for (const unsigned failing : {1u, 0u}) {
          const Fault opens(Call::open, failing, EACCES);
          const Fault tries(Call::fcntl);
          const Fault sleeps(Call::usleep);
          inside.report({function(), l_ipc_fd != -1, opens.calls(), tries.calls(), sleeps.calls()});
        }
        inside.report("%s", ownLocks().c_str());
      });
      const std::string locks = &function == &functions[2] ? "" : lockText(5);
      EXPECT_EQ(child.report(), "-1 0 1 1 0\n0 1 1 2 0\n" + locks + "\n");
    }
  }
  Child child([](Inside &inside) {
    const int32_t foreign = dup2(open("/dev/null", O_RDONLY), l_ipc_fd);  // somebody else's by now
    inside.report({LockIPCFileRecord(5, 0), l_ipc_fd != foreign, fcntl(foreign, F_GETFD), ownLocks() == lockText(5)});
  });
  EXPECT_EQ(child.report(), "0 1 0 1\n");
}

/// The descriptors of the IPC file that the process has open, and its record locks.
std::string openIpcFiles()
{
  int open = 0;
  for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code closed;
    open += fs::read_symlink(entry, closed) == kIpcFile ? 1 : 0;
  }
  return std::to_string(open) + " " + ownLocks();
}

TEST(RecordLock, BadDescriptorIsOpenedOnceForAllThreads)
{
  const std::string expected = "1 WRITE 5 6\n\n";  // the kernel joins neighbours
  Child whileOpening([](Inside &inside) {
    close(l_ipc_fd);
    std::optional<ObservedThread> other;
    const Fault opens(Call::open, 1, [&] {
      other.emplace([] { EXPECT_EQ(LockIPCFileRecord(6, 0), 0); });
      other->waitUntilAsleep();
    });
    inside.report({LockIPCFileRecord(5, 0)});
    other.reset();
    inside.report("%s", openIpcFiles().c_str());
  });
  EXPECT_EQ(whileOpening.report(), "0\n" + expected);
  Child afterwards([](Inside &inside) {
    dup2(open("/dev/null", O_RDONLY), l_ipc_fd);
    const Fault firstTry(Call::fcntl, 1, [] {  // about to fail on the descriptor that the other thread replaces
      std::thread([] { EXPECT_EQ(LockIPCFileRecord(6, 0), 0); }).join();
    });
    inside.report({LockIPCFileRecord(5, 0)});
    inside.report("%s", openIpcFiles().c_str());
  });
  EXPECT_EQ(afterwards.report(), "0\n" + expected);
}

TEST(RecordLock, IsOneProcessesOwn)
{
  ASSERT_EQ(LockIPCFileRecord(5, 0), 0);
  Child child([](Inside &inside) { inside.report({LockIPCFileRecord(5, 0), UnlockIPCFileRecord(5)}); });
  EXPECT_EQ(child.report(), "3 0\n");
  EXPECT_EQ(ownLocks(), lockText(5)) << "neither the child's unlock nor its end counts";

  Child waiting([](Inside &inside) {
    const Fault sleeps(Call::usleep);
    inside.report({LockIPCFileRecord(5, SM_WAIT_FOREVER), sleeps.calls()});
    inside.hold();
    execl("/bin/sleep", "sleep", "1000", nullptr);
  });
  waitUntilBlocked(waiting.pid());
  EXPECT_EQ(UnlockIPCFileRecord(5), 0);
  ASSERT_TRUE(waiting.waitHeld());
  EXPECT_EQ(LockIPCFileRecord(5, 0), kTimeout);
  waiting.release();
  EXPECT_FALSE(waiting.waitHeld()) << "the exec closes the pipe";
  EXPECT_EQ(recordLocks(waiting.pid()), "") << "and the IPC file";
  waiting.signal(SIGKILL);
  EXPECT_EQ(waiting.report(), "0 0\nended with status 137\n");

  RecordHolder holder(5);
  EXPECT_EQ(LockIPCFileRecord(5, 0), kTimeout);
  holder.kill();
  EXPECT_EQ(LockIPCFileRecord(5, 0), 0);
  EXPECT_EQ(UnlockIPCFileRecord(5), 0);
}

TEST(GlobalMutex, IsTheRecordOfItsName)
{
  for (const auto create : {CreateGlobalMutex, OpenGlobalMutex}) {
    EXPECT_EQ(create(0xFFFFFFFF), 0xFFFFFFFF);
    EXPECT_EQ(create(5), 5u);
    EXPECT_EQ(WaitForGlobalMutex(5, SM_WAIT_FOREVER), 0);
    EXPECT_EQ(WaitForGlobalMutex(5, 0), 0);
    DestroyGlobalMutex(5);
    EXPECT_EQ(ownLocks(), lockText(5));
    EXPECT_EQ(ReleaseGlobalMutex(5), 0);
    EXPECT_EQ(ownLocks(), "");
    Child child([&](Inside &inside) {
      CloseIPCFile();
      const Fault tries(Call::fcntl);
      const Fault opens(Call::open, 1, EACCES);
      inside.report({create(0), WaitForGlobalMutex(0, 1), ReleaseGlobalMutex(0), opens.calls(), tries.calls()});
      inside.report({create(5), l_ipc_fd, create(5)});
    });
    EXPECT_EQ(child.report(), "0 -1 -1 0 0\n0 -1 5\n");
  }
}

/// A semaphore that goes with its scope.
struct Semaphore {
  explicit Semaphore(int32_t initial, key_t key = IPC_PRIVATE) : id(CreateSemaphore(key, initial)) { EXPECT_GT(id, 0); }
  ~Semaphore() { DestroySemaphore(id); }
  int count() const { return semctl(id, 0, GETVAL); }
  const int32_t id;
};

TEST(Timeout, CountsSteps)
{
  RecordHolder holder(5);
  SMLocalMutex *const mutex = CreateLocalMutex();
  ASSERT_EQ(WaitForLocalMutex(mutex, 0), 0);
  const Semaphore set(0);
  const auto release = [&] { ReleaseSemaphore(set.id); };
  const struct {
    Call call;
    unsigned callsInATry;
    std::function<int32_t(uint32_t)> wait;
    std::function<void()> release;
  } rows[] = {
      {Call::fcntl, 1, [](uint32_t steps) { return LockIPCFileRecord(5, steps); }, [&] { holder.letGo(); }},
      {Call::read, 0, [&](uint32_t steps) { return WaitForLocalMutex(mutex, steps); },
       [&] { ReleaseLocalMutex(mutex); }},
      {Call::semop, 1, [&](uint32_t steps) { return WaitForSemaphore(set.id, steps); }, release},
      {Call::semop, 1, [&](uint32_t steps) { return WaitForSemaphoreUndo(set.id, steps); }, release},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    for (const uint32_t steps : {0u, 1u, 5u}) {
      const Fault tries(row.call);
      const Fault sleeps(Call::usleep, 1, EINTR);  // a sleep cut short is a step as well
      EXPECT_EQ(row.wait(steps), kTimeout);
      EXPECT_EQ(tries.calls(), (steps + 1) * row.callsInATry);
      EXPECT_EQ(sleeps.calls(), steps);
      EXPECT_EQ(sleeps.slept(), 1000 * steps);
    }
    const Fault sleeps(Call::usleep, 3, row.release);
    EXPECT_EQ(row.wait(0xFFFFFFFE), 0) << "the longest wait that polls";
    EXPECT_EQ(sleeps.calls(), 3u);
  }
  EXPECT_EQ(UnlockIPCFileRecord(5), 0);
  EXPECT_EQ(ReleaseLocalMutex(mutex), 0);
  DestroyLocalMutex(mutex);
}

TEST(FailingCall, DecidesTheResult)
{
  const Semaphore set(30);
  using Function = std::function<int32_t()>;
  const Function lock = [] { return LockIPCFileRecord(5, SM_WAIT_FOREVER); };
  const Function poll = [] { return LockIPCFileRecord(5, 1); };
  const Function unlock = [] { return UnlockIPCFileRecord(5); };
  const Function take = [&] { return WaitForSemaphore(set.id, SM_WAIT_FOREVER); };
  const Function pollSet = [&] { return WaitForSemaphore(set.id, 1); };
  const Function give = [&] { return ReleaseSemaphore(set.id); };
  const struct {
    const Function &function;
    Call call;
    std::vector<int> errors;
    int32_t result;
    unsigned calls, sleeps;
  } rows[] = {{lock, Call::fcntl, {EINTR}, 0, 2, 0},
              {lock, Call::fcntl, {EAGAIN, EACCES, EDEADLK, ENOLCK, EIO}, -1, 1, 0},
              {poll, Call::fcntl, {EINTR}, 0, 2, 0},
              {poll, Call::fcntl, {EAGAIN, EACCES}, 0, 2, 1},
              {poll, Call::fcntl, {EDEADLK, ENOLCK, EIO}, -1, 1, 0},
              {unlock, Call::fcntl, {EINTR}, 0, 2, 0},
              {unlock, Call::fcntl, {EAGAIN, EACCES, ENOLCK, EIO}, -1, 1, 0},
              {take, Call::semop, {EINTR}, 0, 2, 0},
              {take, Call::semop, {EAGAIN, EIDRM, ENOSPC}, -1, 1, 0},
              {pollSet, Call::semop, {EINTR, EAGAIN, EIDRM, ENOSPC}, 0, 2, 1},
              {give, Call::semop, {EINTR}, 0, 2, 0},
              {give, Call::semop, {EAGAIN, EIDRM, ERANGE}, -1, 1, 0}};
  const int32_t descriptor = l_ipc_fd;
  const Fault opens(Call::open);
  for (const auto &row : rows) {
    for (const int error : row.errors) {
      SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", errno " << error);
      const Fault fault(row.call, 1, error);
      const Fault sleeps(Call::usleep);
      EXPECT_EQ(row.function(), row.result);
      EXPECT_EQ(fault.calls(), row.calls);
      EXPECT_EQ(sleeps.calls(), row.sleeps);
    }
  }
  EXPECT_EQ(l_ipc_fd, descriptor);
  EXPECT_EQ(opens.calls(), 0u);
  EXPECT_EQ(unlock(), 0);
}

TEST(LocalMutex, ExcludesThreadsAndReportsFailures)
{
  SMLocalMutex *const mutex = CreateLocalMutex();
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(WaitForLocalMutex(mutex, SM_WAIT_FOREVER), 0);
  std::thread waiting([&] {
    EXPECT_EQ(WaitForLocalMutex(mutex, SM_WAIT_FOREVER), 0);
    EXPECT_EQ(ReleaseLocalMutex(mutex), 0);
  });
  EXPECT_EQ(ReleaseLocalMutex(mutex), 0);
  waiting.join();
#ifndef __SANITIZE_THREAD__  // which takes a failing unlock for the test's own mistake
  // The handle is a thread mutex; one of the kind that finds errors makes the calls fail.
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(reinterpret_cast<pthread_mutex_t *>(mutex), &kind);
  EXPECT_EQ(ReleaseLocalMutex(mutex), -1);
  EXPECT_EQ(WaitForLocalMutex(mutex, SM_WAIT_FOREVER), 0);
  EXPECT_EQ(WaitForLocalMutex(mutex, SM_WAIT_FOREVER), -1);
  EXPECT_EQ(ReleaseLocalMutex(mutex), 0);
#endif
  const long blocks = liveBlocks();
  DestroyLocalMutex(mutex);
  EXPECT_EQ(liveBlocks(), blocks - 1);

  EXPECT_EQ(WaitForLocalMutex(nullptr, SM_WAIT_FOREVER), -1);
  const Fault fault(Call::allocation, 1);
  EXPECT_EQ(CreateLocalMutex(), nullptr);
}

TEST(SystemVSemaphore, IsCreatedOnce)
{
  EXPECT_EQ(OpenSemaphore(kKey), 0);
  for (const int error : {EACCES, ENOENT, ENOMEM, ENOSPC}) {
    const Fault fault(Call::semget, 1, error);
    EXPECT_EQ(CreateSemaphore(kKey, 1), 0);
    EXPECT_EQ(fault.calls(), 1u);
  }
  {
    const Semaphore set(7, kKey);
    semid_ds status;
    ASSERT_EQ(semctl(set.id, 0, IPC_STAT, &status), 0);
    EXPECT_EQ(status.sem_perm.mode, 0666);
    EXPECT_EQ(status.sem_nsems, 1u);
    EXPECT_EQ(CreateSemaphore(kKey, 3), set.id);
    EXPECT_EQ(OpenSemaphore(kKey), set.id);
    EXPECT_EQ(set.count(), 7) << "the set that existed is used as it is";
    const Fault fault(Call::semget, 2, EACCES);
    EXPECT_EQ(CreateSemaphore(kKey, 1), 0) << "it exists, and cannot be opened";
  }
  EXPECT_EQ(OpenSemaphore(kKey), 0) << "destroyed";
  const Semaphore first(-1);
  EXPECT_EQ(first.count(), 0) << "a count that the kernel refuses is not reported";
  EXPECT_NE(first.id, Semaphore(0).id) << "private sets";
}

// The first set of a fresh IPC namespace has identifier 0.
TEST(SystemVSemaphore, IdentifierZeroIsNeverHandedOut)
{
  for (const int error : {0, ENOSPC, EEXIST}) {
    Child child([&](Inside &inside) {
      inside.report({unshare(CLONE_NEWIPC)});
      const Fault fault(Call::semget, error == 0 ? 0 : 3, error);  // the set, a placeholder, the set again
      const int32_t id = CreateSemaphore(kKey, 2);
      inside.report({id > 0, semctl(id, 0, GETVAL), fault.calls()});
      DestroySemaphore(id);
      inside.report("left: %s", systemVObjects().c_str());
    });
    const char *const result = error == 0 ? "1 2 3" : error == ENOSPC ? "0 -1 3" : "0 -1 4";
    EXPECT_EQ(child.report(), "0\n"s + result + "\nleft: \n") << "errno " << error;
  }
  const Fault fault(Call::semget, 1, 0, true);
  EXPECT_EQ(CreateSemaphore(kKey, 1), 0) << "0 for good";
}

TEST(SystemVSemaphore, CountsAndIsUndoneForTheWaitAlone)
{
  const struct {
    int32_t (*wait)(int32_t, uint32_t);
    uint32_t timeout;
    int countAtTheEnd;
  } rows[] = {{WaitForSemaphore, 0, 4},
              {WaitForSemaphore, SM_WAIT_FOREVER, 4},
              {WaitForSemaphoreUndo, 0, 5},
              {WaitForSemaphoreUndo, SM_WAIT_FOREVER, 5}};
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    const Semaphore set(5);
    for (const bool released : {false, true}) {
      Child child([&](Inside &inside) {
        inside.report({row.wait(set.id, row.timeout), set.count()});
        inside.report({released ? ReleaseSemaphore(set.id) : 0, set.count()});
      });
      EXPECT_EQ(child.report(), released ? "0 4\n0 5\n" : "0 4\n0 4\n");
      EXPECT_EQ(set.count(), row.countAtTheEnd + (released ? 1 : 0));
      semctl(set.id, 0, SETVAL, 5);
    }
    const Fault tries(Call::semop);
    EXPECT_EQ(row.wait(0, row.timeout), -1);
    EXPECT_EQ(tries.calls(), 0u);
  }
  const Semaphore set(32766);
  EXPECT_EQ(ReleaseSemaphore(set.id), 0);
  EXPECT_EQ(ReleaseSemaphore(set.id), -1) << "the kernel's maximum";
  EXPECT_EQ(set.count(), 32767);
  EXPECT_EQ(ResetSemaphore(set.id), 0);
  EXPECT_EQ(set.count(), 0);
  Child waiting([&](Inside &inside) { inside.report({WaitForSemaphore(set.id, SM_WAIT_FOREVER)}); });
  while (semctl(set.id, 0, GETNCNT) != 1) {
    sched_yield();
  }
  DestroySemaphore(set.id);
  EXPECT_EQ(waiting.report(), "-1\n");
  EXPECT_EQ(WaitForSemaphore(set.id, 1), kTimeout) << "every failed try counts as busy";
  EXPECT_EQ(ReleaseSemaphore(set.id), -1);
  EXPECT_EQ(ResetSemaphore(set.id), 0) << "reports nothing";
  const Fault calls(Call::semctl);
  EXPECT_EQ(ReleaseSemaphore(0), -1);
  EXPECT_EQ(ResetSemaphore(0), -1);
  DestroySemaphore(0);
  EXPECT_EQ(calls.calls(), 0u);
}

}  // namespace
