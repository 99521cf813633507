// Named and unnamed mutexes, semaphores, events and shared memory: handles, names, statuses, other processes, dead
// ones, and no residue.

#include <sched.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include "support/signed_statuses.h"
#include "support/test.h"

namespace {

using namespace support;

std::string lockFile(const std::string &name)
{
  return "/etc/tallowmere/vela/." + name;
}

/// A handle that is not null, and is destroyed with its scope.
template <auto kDestroy>
class Owner {
 public:
  explicit Owner(OSSyncInfo *handle) : handle_(handle) { EXPECT_NE(handle, nullptr); }
  ~Owner() { kDestroy(handle_); }
  Owner(const Owner &) = delete;
  Owner &operator=(const Owner &) = delete;
  operator OSSyncInfo *() const { return handle_; }

 private:
  OSSyncInfo *const handle_;
};
using Mutex = Owner<SMMutexDestroy>;
using Semaphore = Owner<SMSemaphoreDestroy>;
using Event = Owner<SMEventDestroy>;
using Memory = Owner<SMSharedMemFree>;

int semaphoreCount(const char *name)
{
  return semctl(OpenSemaphore(GetUniqueKeyFromStr(name)), 0, GETVAL);
}

TEST(KeyTest, Crc)
{
  EXPECT_EQ(GenerateCRC32("abc", 3, 3), 0xB63DA8B2u);
  EXPECT_EQ(GenerateCRC32("abc", 3, 0), 0xFFFFFFFFu);
  EXPECT_EQ(GenerateCRC32("abc\0\0", 5, 5), GenerateCRC32("abc", 3, 5));
  EXPECT_EQ(GenerateCRC32("", 1, 1), 0x2DFD1072u);
  EXPECT_EQ(GetUniqueKeyFromStr("abc"), static_cast<int32_t>(0xFB8FC9A3));
}

TEST(RecordTest, NamesAndSizes)
{
  const struct {
    int32_t kind;
    size_t longest;
  } rows[] = {{1, 233}, {2, 255}, {3, 255}, {4, 255}};
  for (const auto &row : rows) {
    EXPECT_EQ(OSSyncInfoAlloc("", 64, row.kind), nullptr);
    EXPECT_EQ(OSSyncInfoAlloc(std::string(row.longest + 1, 'n').c_str(), 64, row.kind), nullptr);
    OSSyncInfo *info = OSSyncInfoAlloc(std::string(row.longest, 'n').c_str(), 64, row.kind);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->kind, static_cast<uint32_t>(row.kind));
    EXPECT_EQ(info->name, (row.kind == 1 ? "/etc/tallowmere/vela/." : "") + std::string(row.longest, 'n'));
    SMFreeMem(info);
    info = OSSyncInfoAlloc(nullptr, 64, row.kind);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->name, nullptr);
    SMFreeMem(info);
    EXPECT_EQ(OSSyncInfoAlloc("n", 0, row.kind), nullptr);
    EXPECT_EQ(OSSyncInfoAlloc("n", UINT32_MAX, row.kind), nullptr);
  }
}

/// Every operation against a record of another kind.
TEST(RecordTest, ForeignHandles)
{
  const Mutex mutex(SMMutexCreate(nullptr));
  const Semaphore semaphore(SMSemaphoreCreate(nullptr, 0));
  const struct {
    const char *what;
    std::function<int32_t(OSSyncInfo *)> call;
    OSSyncInfo *foreign;
  } rows[] = {
      {"lock", [](OSSyncInfo *h) { return SMMutexLock(h, 0); }, semaphore},
      {"unlock", [](OSSyncInfo *h) { return SMMutexUnLock(h); }, semaphore},
      {"acquire", [](OSSyncInfo *h) { return SMSemaphoreAcquireWait(h, 0); }, mutex},
      {"release", [](OSSyncInfo *h) { return SMSemaphoreRelease(h, 1, nullptr); }, mutex},
      {"wait", [](OSSyncInfo *h) { return SMEventWait(h, 0); }, semaphore},
      {"set", [](OSSyncInfo *h) { return SMEventSet(h); }, semaphore},
      {"reset", [](OSSyncInfo *h) { return SMEventReset(h); }, semaphore},
      {"pulse", [](OSSyncInfo *h) { return SMEventPulse(h); }, semaphore},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(row.call(row.foreign), kBadType) << row.what;
  }
  EXPECT_EQ(SMSemaphoreRelease(mutex, 32768, nullptr), kInvalid) << "the argument comes before the kind";
  EXPECT_EQ(SMSharedMemGetAddressPtr(mutex), nullptr);
  EXPECT_EQ(SMSharedMemGetAddressPtr(nullptr), nullptr);
  EXPECT_EQ(SMSharedMemGetSize(mutex), 0u);
  EXPECT_EQ(SMSharedMemGetSize(nullptr), 0u);
  SMSemaphoreDestroy(mutex);
  SMEventDestroy(mutex);
  SMSharedMemFree(mutex);
  SMMutexDestroy(semaphore);
  EXPECT_EQ(SMMutexLock(mutex, 0), kOk) << "destroying as another kind left it alone";
  EXPECT_EQ(SMMutexUnLock(mutex), kOk);
}

TEST(MutexTest, NamedExcludesByHandle)
{
  EXPECT_EQ(SMMutexOpen("gate"), nullptr);
  const Mutex first(SMMutexCreate("gate"));
  OSSyncInfo *second = SMMutexOpen("gate");
  ASSERT_NE(second, nullptr);
  struct stat status;
  ASSERT_EQ(stat(lockFile("gate").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0600u);

  EXPECT_EQ(SMMutexLock(first, SM_WAIT_FOREVER), kOk);
  {
    const Fault sleeps(Call::usleep);
    EXPECT_EQ(SMMutexLock(second, 0), kTimeout);
    EXPECT_EQ(sleeps.calls(), 0u);
    EXPECT_EQ(SMMutexLock(second, 4), kTimeout);
    EXPECT_EQ(sleeps.calls(), 4u);
  }
  EXPECT_EQ(SMMutexUnLock(first), kOk);
  EXPECT_EQ(SMMutexLock(second, 0), kOk);
  SMMutexDestroy(second);
  EXPECT_NE(access(lockFile("gate").c_str(), F_OK), 0) << "an opened handle deletes the file too";
  EXPECT_EQ(SMMutexOpen("gate"), nullptr);
  EXPECT_EQ(SMMutexLock(first, 0), kOk) << "the lock went with the handle; the deleted file can be locked";
  const Mutex other(SMMutexCreate("gate"));
  EXPECT_EQ(SMMutexLock(other, 0), kOk) << "a new file";
}

TEST(MutexTest, ForkSharesTheLock)
{
  const Mutex mutex(SMMutexCreate("gate"));
  const Mutex other(SMMutexOpen("gate"));
  EXPECT_EQ(SMMutexLock(mutex, 0), kOk);
  Child child([&mutex](Inside &inside) {
    inside.report({SMMutexLock(mutex, 0), SMMutexUnLock(mutex), SMMutexLock(mutex, 0)});
    inside.hold();
  });
  ASSERT_TRUE(child.waitHeld());
  child.signal(SIGKILL);
  EXPECT_EQ(child.report(), "0 0 0\nended with status 137\n");
  EXPECT_EQ(SMMutexLock(other, 0), kTimeout) << "this process has the dead one's handle";
  EXPECT_EQ(SMMutexUnLock(mutex), kOk);
  EXPECT_EQ(SMMutexLock(other, 0), kOk);
}

/// What a killed process held: a mutex is free at once, a count stays as it is, a mark is gone.
TEST(KillTest, HolderOfEveryKind)
{
  const Mutex mutex(SMMutexCreate("gate"));
  const Semaphore semaphore(SMSemaphoreCreate("pool", 2));
  Child holder([](Inside &inside) {
    OSSyncInfo *opened = SMSemaphoreOpen("pool");
    inside.report({SMMutexLock(SMMutexOpen("gate"), 0), SMSemaphoreAcquireWait(opened, 0),
                   SMEventCreate("start", 1, 1) != nullptr});
    inside.hold();
  });
  ASSERT_TRUE(holder.waitHeld());
  const Event manual(SMEventOpen("start"));
  EXPECT_EQ(SMMutexLock(mutex, 2), kTimeout);
  holder.signal(SIGKILL);
  EXPECT_EQ(holder.report(), "0 0 1\nended with status 137\n");
  EXPECT_EQ(SMMutexLock(mutex, 0), kOk);
  EXPECT_EQ(semaphoreCount("pool"), 1);
  EXPECT_EQ(SMEventWait(manual, 0), kOk);
  EXPECT_EQ(semaphoreCount("start"), 1) << "a handle keeps its mode";
  const Event automatic(SMEventOpen("start"));
  EXPECT_EQ(SMEventWait(automatic, 0), kOk);
  EXPECT_EQ(SMEventWait(automatic, 0), kTimeout);
  SMEventDestroy(SMEventCreate("start", 0, 0));  // adopted, so removed
}

TEST(MutexTest, SignalEndsTheWaitWithoutLimit)
{
  const Mutex mutex(SMMutexCreate("gate"));
  ASSERT_EQ(SMMutexLock(mutex, 0), kOk);
  Child waiter([](Inside &inside) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval soon = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    inside.report({SMMutexLock(SMMutexOpen("gate"), SM_WAIT_FOREVER)});
  });
  EXPECT_EQ(waiter.report(), "-1\n");
}

TEST(MutexTest, LockFileThatCannotBeOpened)
{
  ASSERT_EQ(mkdir(lockFile("folder").c_str(), 0700), 0);
  EXPECT_EQ(SMMutexCreate("folder"), nullptr);
  ASSERT_EQ(rmdir(lockFile("folder").c_str()), 0);
  EXPECT_EQ(SMMutexCreate("no/such/folder"), nullptr);
  for (const auto make : {SMMutexCreate, SMMutexOpen}) {
    const Fault fault(Call::open, 1, EACCES);
    EXPECT_EQ(make("gate"), nullptr);
  }
}

TEST(MutexTest, UnnamedExcludesThreads)
{
  const Mutex mutex(SMMutexCreate(nullptr));
  EXPECT_EQ(SMMutexLock(mutex, 0), kOk);
  std::thread([&mutex] { EXPECT_EQ(SMMutexLock(mutex, 1), kTimeout); }).join();
  EXPECT_EQ(SMMutexUnLock(mutex), kOk);
  std::thread([&mutex] {
    EXPECT_EQ(SMMutexLock(mutex, SM_WAIT_FOREVER), kOk);
    EXPECT_EQ(SMMutexUnLock(mutex), kOk);
  }).join();
}

TEST(SemaphoreTest, CountsAndAdoption)
{
  EXPECT_EQ(SMSemaphoreCreate("pool", 32768), nullptr);
  EXPECT_EQ(SMSemaphoreOpen(nullptr), nullptr);
  EXPECT_EQ(SMSemaphoreOpen("pool"), nullptr);
  const Semaphore pool(SMSemaphoreCreate("pool", 2));
  OSSyncInfo *opened = SMSemaphoreOpen("pool");
  OSSyncInfo *adopted = SMSemaphoreCreate("pool", 7);
  ASSERT_TRUE(opened != nullptr && adopted != nullptr);
  EXPECT_EQ(semaphoreCount("pool"), 2) << "an existing set keeps its count";
  EXPECT_EQ(SMSemaphoreAcquireWait(opened, 0), kOk);
  EXPECT_EQ(SMSemaphoreAcquireWait(pool, 0), kOk);
  {
    const Fault sleeps(Call::usleep);
    EXPECT_EQ(SMSemaphoreAcquireWait(adopted, 3), kTimeout);
    EXPECT_EQ(sleeps.calls(), 3u);
  }
  SMSemaphoreDestroy(opened);
  EXPECT_EQ(semaphoreCount("pool"), 0) << "an opened handle removes nothing";
  SMSemaphoreDestroy(adopted);
  EXPECT_EQ(SMSemaphoreAcquireWait(pool, 0), kTimeout) << "the set is gone: every try fails";
  EXPECT_EQ(SMSemaphoreAcquireWait(pool, SM_WAIT_FOREVER), kFailed);
  for (const int32_t change : {1, 0, -1}) {
    EXPECT_EQ(SMSemaphoreRelease(pool, change, nullptr), kTooSmall);
  }
}

TEST(SemaphoreTest, ReleaseIsOneStepWithinItsRange)
{
  const Semaphore pool(SMSemaphoreCreate("pool", 32767));
  const struct {
    int32_t change;
    int32_t status;
    uint32_t before;
    int after;
  } rows[] = {
      {1, kTooSmall, 32767, 32767}, {0, kOk, 32767, 32767},
      {-32767, kOk, 32767, 0},      {-1, kTooSmall, 0, 0},
      {INT32_MIN, kTooSmall, 0, 0}, {5, kOk, 0, 5},
      {-6, kTooSmall, 5, 5},        {32763, kTooSmall, 5, 5},
      {32762, kOk, 5, 32767},       {32767, kTooSmall, 32767, 32767},
  };
  for (const auto &row : rows) {
    uint32_t before = 99;
    const Fault operations(Call::semop);
    EXPECT_EQ(SMSemaphoreRelease(pool, row.change, &before), row.status) << row.change;
    EXPECT_LE(operations.calls(), 1u);
    EXPECT_EQ(before, row.before) << row.change;
    EXPECT_EQ(semaphoreCount("pool"), row.after) << row.change;
  }
  // Nobody asks for the count before. -65535 and -131071 are 1 in 16 bits.
  for (const int32_t refused : {1, 32767, -32768, -65535, -131071, INT32_MIN}) {
    EXPECT_EQ(SMSemaphoreRelease(pool, refused, nullptr), kTooSmall) << refused;
  }
  EXPECT_EQ(SMSemaphoreRelease(pool, 0, nullptr), kOk);
  EXPECT_EQ(SMSemaphoreRelease(pool, -32767, nullptr), kOk);
  EXPECT_EQ(semaphoreCount("pool"), 0);
}

TEST(EventTest, AutomaticReleasesOneWaiterASignal)
{
  const Event event(SMEventCreate(nullptr, 0, 1));
  EXPECT_EQ(SMEventWait(event, 0), kOk);
  EXPECT_EQ(SMEventWait(event, 0), kTimeout);
  EXPECT_EQ(SMEventSet(event), kOk);
  EXPECT_EQ(SMEventPulse(event), kOk);
  EXPECT_EQ(SMEventWait(event, 0), kOk);
  EXPECT_EQ(SMEventWait(event, SM_WAIT_FOREVER), kOk);
  EXPECT_EQ(SMEventWait(event, 0), kTimeout);
  EXPECT_EQ(SMEventSet(event), kOk);
  EXPECT_EQ(SMEventReset(event), kOk);
  EXPECT_EQ(SMEventWait(event, 0), kTimeout);
  const Event flags(SMEventCreate(nullptr, 2, 2));  // neither flag is 1
  EXPECT_EQ(SMEventWait(flags, 0), kTimeout);
}

TEST(EventTest, ManualStaysAndIsKnownToOpeners)
{
  OSSyncInfo *event = SMEventCreate("start", 1, 0);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(SMEventPulse(event), kOk);
  EXPECT_EQ(semaphoreCount("start"), 1);
  EXPECT_EQ(SMEventPulse(event), kOk);
  EXPECT_EQ(semaphoreCount("start"), 1);
  Child opener([](Inside &inside) {
    const Event opened(SMEventOpen("start"));
    inside.report({SMEventWait(opened, 0), SMEventWait(opened, 0)});
  });
  EXPECT_EQ(opener.report(), "0 0\n");
  EXPECT_EQ(SMEventWait(event, 0), kOk);
  EXPECT_EQ(semaphoreCount("start"), 1);
  EXPECT_EQ(SMEventReset(event), kOk);
  EXPECT_EQ(SMEventWait(event, 0), kTimeout);

  // The creating process opens its own event: it obtains the mark, and its release ends the mark.
  {
    const Event own(SMEventOpen("start"));
  }
  Child late([](Inside &inside) {
    OSSyncInfo *opened = SMEventOpen("start");
    inside.report({SMEventSet(opened), SMEventWait(opened, 0), SMEventWait(opened, 0)});
  });
  EXPECT_EQ(late.report(), "0 0 3\n");
  EXPECT_NE(OpenSemaphore(GetUniqueKeyFromStr("start")), 0);
  SMEventDestroy(event);
  EXPECT_EQ(OpenSemaphore(GetUniqueKeyFromStr("start")), 0);
  EXPECT_EQ(SMEventOpen("start"), nullptr);
  EXPECT_EQ(SMEventOpen(nullptr), nullptr);
}

TEST(EventTest, FailingMarkUndoesTheCall)
{
  {
    const Fault fault(Call::fcntl, 1, ENOLCK, true);
    EXPECT_EQ(SMEventCreate("start", 1, 0), nullptr);
  }
  EXPECT_EQ(OpenSemaphore(GetUniqueKeyFromStr("start")), 0);
  const Event event(SMEventCreate("start", 0, 0));
  {
    const Fault fault(Call::fcntl, 1, ENOLCK, true);
    EXPECT_EQ(SMEventOpen("start"), nullptr);
  }
  EXPECT_EQ(OpenSemaphore(GetUniqueKeyFromStr("start")), 0) << "an open that cannot probe the mark removes the set";
  EXPECT_EQ(SMEventPulse(event), kFailed) << "an automatic event whose set is gone";
}

void removeTable()
{
  const int32_t key = GetUniqueKeyFromStr("table");
  DestroySemaphore(OpenSemaphore(key));
  shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
}

TEST(SharedMemoryTest, LivesWithItsCreator)
{
  EXPECT_EQ(SMSharedMemCreate(nullptr, 64), nullptr);
  EXPECT_EQ(SMSharedMemOpen(nullptr), nullptr);
  EXPECT_EQ(SMSharedMemCreate("table", 0), nullptr);
  OSSyncInfo *memory = SMSharedMemCreate("table", 64);
  ASSERT_NE(memory, nullptr);
  auto *words = static_cast<uint32_t *>(SMSharedMemGetAddressPtr(memory));
  words[15] = 7;
  EXPECT_EQ(semaphoreCount("table"), 0);
  Child other([](Inside &inside) {
    const Memory opened(SMSharedMemOpen("table"));
    inside.report({static_cast<uint32_t *>(SMSharedMemGetAddressPtr(opened))[15]++});
  });
  EXPECT_EQ(other.report(), "7\n");
  EXPECT_EQ(words[15], 8u);
  SMSharedMemFree(memory);
}

TEST(SharedMemoryTest, TakenOverAfterItsCreatorDied)
{
  Child creator([](Inside &inside) {
    OSSyncInfo *memory = SMSharedMemCreate("table", 64);
    static_cast<uint32_t *>(SMSharedMemGetAddressPtr(memory))[0] = 42;
    inside.hold();
    execl("/bin/sleep", "sleep", "1000", nullptr);
  });
  ASSERT_TRUE(creator.waitHeld());
  creator.release();
  EXPECT_FALSE(creator.waitHeld()) << "the exec closes the pipe";
  EXPECT_EQ(semaphoreCount("table"), 0) << "the guard belongs to the process, not to the program";
  creator.signal(SIGKILL);
  EXPECT_EQ(creator.wait(), 128 + SIGKILL);
  EXPECT_EQ(semaphoreCount("table"), 1) << "the kernel gave the guard back";
  EXPECT_EQ(SMSharedMemOpen("table"), nullptr);
  EXPECT_EQ(semaphoreCount("table"), 1);
  OSSyncInfo *memory = SMSharedMemCreate("table", 4096);
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(*static_cast<uint32_t *>(SMSharedMemGetAddressPtr(memory)), 42u);
  OSSyncInfo *opened = SMSharedMemOpen("table");
  EXPECT_NE(opened, nullptr);
  SMSharedMemFree(opened);
  SMSharedMemFree(memory);
  EXPECT_EQ(semaphoreCount("table"), 0) << "who took it over is no owner: segment and guard stay";
  removeTable();
}

TEST(SharedMemoryTest, FailuresGiveEverythingBack)
{
  const auto create = [](unsigned) { SMSharedMemFree(SMSharedMemCreate("table", 64)); };
  for (const Call call : {Call::allocation, Call::semget, Call::semop, Call::shmget, Call::shmat}) {
    EXPECT_GE(failEach(call, ENOSPC, create), call == Call::semget ? 2u : 1u);
    EXPECT_EQ(systemVObjects(), "");
  }
  // An open that cannot attach marks the segment for removal, under its owner.
  OSSyncInfo *memory = SMSharedMemCreate("table", 64);
  ASSERT_NE(memory, nullptr);
  {
    const Fault fault(Call::shmat, 1, ENOMEM);
    EXPECT_EQ(SMSharedMemOpen("table"), nullptr);
  }
  EXPECT_EQ(SMSharedMemOpen("table"), nullptr) << "it cannot be found any more";
  EXPECT_EQ(semaphoreCount("table"), 0) << "the guard is the owner's";
  SMSharedMemFree(memory);
}

TEST(SharedMemoryTest, GuardOfAnotherProcessSurvivesAFailingCreate)
{
  // The guard does not exist when the create looks for it, and does when it makes it.
  const int32_t key = GetUniqueKeyFromStr("table");
  const Fault secondLook(Call::semget, 2, [key] { CreateSemaphore(key, 1); });
  const Fault take(Call::semop, 1, ENOSPC);
  EXPECT_EQ(SMSharedMemCreate("table", 64), nullptr);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(semaphoreCount("table"), 1);
  DestroySemaphore(OpenSemaphore(key));
}

TEST(SharedMemoryTest, SizeIsTheSegmentsOwn)
{
  OSSyncInfo *memory = SMSharedMemCreate("table", 4097);
  const Memory opened(SMSharedMemOpen("table"));
  EXPECT_EQ(SMSharedMemGetSize(memory), 4097u);
  SMSharedMemFree(memory);
  EXPECT_EQ(SMSharedMemGetSize(opened), 4097u) << "its owner has freed it";
}

TEST(HandleCloseTest, LeavesWhatOthersUse)
{
  OSSyncInfo *mutex = SMMutexCreate("gate");
  const Mutex other(SMMutexOpen("gate"));
  EXPECT_EQ(SMMutexLock(mutex, 0), kOk);
  SMHandleClose(mutex);
  EXPECT_EQ(SMMutexLock(other, 0), kOk) << "closing unlocks";
  EXPECT_EQ(access(lockFile("gate").c_str(), F_OK), 0);
  OSSyncInfo *semaphore = SMSemaphoreCreate("pool", 3);
  SMHandleClose(semaphore);
  EXPECT_EQ(semaphoreCount("pool"), 3);
  SMSemaphoreDestroy(SMSemaphoreCreate("pool", 0));
  SMHandleClose(SMEventCreate("start", SM_RESET_MANUAL, SM_INITIALLY_SIGNALLED));
  EXPECT_EQ(semaphoreCount("start"), 1);
  Child opener([](Inside &inside) {
    OSSyncInfo *opened = SMEventOpen("start");
    inside.report({SMEventWait(opened, 0), SMEventWait(opened, 0)});
  });
  EXPECT_EQ(opener.report(), "0 0\n") << "the mark stays";
  SMEventDestroy(SMEventCreate("start", SM_RESET_MANUAL, SM_INITIALLY_RESET));

  SMHandleClose(SMLibLoad(QVSUPT32_LIBRARY));  // the loader keeps what it allocates first
  const long blocks = liveBlocks();
  SMHandleClose(SMMutexCreate(nullptr));
  SMHandleClose(SMSemaphoreCreate(nullptr, 1));
  SMHandleClose(SMEventCreate(nullptr, SM_RESET_AUTOMATIC, SM_INITIALLY_RESET));
  SMHandleClose(SMLibLoad(QVSUPT32_LIBRARY));
  EXPECT_EQ(liveBlocks(), blocks);
  OSSyncInfo unknown = {99, nullptr};
  SMHandleClose(&unknown);
  SMHandleClose(nullptr);
}

TEST(HandleCloseTest, GivesTheGuardBackExactlyOnce)
{
  Child creator([](Inside &inside) {
    OSSyncInfo *memory = SMSharedMemCreate("table", 64);
    OSSyncInfo *opened = SMSharedMemOpen("table");
    static_cast<char *>(SMSharedMemGetAddressPtr(memory))[63] = 'x';
    SMHandleClose(opened);
    inside.report({semaphoreCount("table")});
    Child forked([memory](Inside &insideForked) {
      SMHandleClose(memory);
      insideForked.report({semaphoreCount("table")});
    });
    inside.report("%s", forked.report().c_str());
    SMHandleClose(memory);
    inside.report({semaphoreCount("table")});
    inside.hold();
  });
  ASSERT_TRUE(creator.waitHeld());
  OSSyncInfo *memory = SMSharedMemCreate("table", 4096);
  ASSERT_NE(memory, nullptr) << "taken over while its creator lives";
  EXPECT_EQ(SMSharedMemGetSize(memory), 64u);
  EXPECT_EQ(static_cast<char *>(SMSharedMemGetAddressPtr(memory))[63], 'x');
  creator.release();
  EXPECT_EQ(creator.report(), "0\n0\n\n1\n");
  EXPECT_EQ(semaphoreCount("table"), 0) << "the creator's end gives nothing back a second time";
  SMHandleClose(memory);
  EXPECT_EQ(semaphoreCount("table"), 1) << "the guard of who took it over";
  removeTable();
}

TEST(HandleTest, ErrnoTellsWhyAHandleIsNull)
{
  const struct {
    std::function<OSSyncInfo *()> make;
    int error;
  } rows[] = {{[] { return SMMutexOpen(nullptr); }, EINVAL},
              {[] { return SMMutexCreate(""); }, EINVAL},
              {[] { return SMSemaphoreCreate(nullptr, 32768); }, EINVAL},
              {[] { return SMMutexCreate(std::string(234, 'n').c_str()); }, ENAMETOOLONG},
              {[] { return SMMutexOpen("none"); }, ENOENT},
              {[] { return SMEventOpen("none"); }, ENOENT},
              {[] { return SMSharedMemOpen("none"); }, ENOENT},
              {[] { return SMSharedMemCreate("table", 64); }, EAGAIN}};
  const Memory memory(SMSharedMemCreate("table", 64));
  for (const auto &row : rows) {
    errno = 0;
    EXPECT_EQ(row.make(), nullptr);
    EXPECT_EQ(errno, row.error) << &row - rows;
  }
}

TEST(SharedMemoryTest, LargestSize)
{
  constexpr uint32_t kSize = UINT32_MAX;
  OSSyncInfo *memory = SMSharedMemCreate("vast", kSize);
  if (sizeof(void *) == 4) {
    EXPECT_EQ(memory, nullptr) << "more than the address space has";
  }
  if (memory != nullptr) {  // the machine may have too little memory for it
    auto *bytes = static_cast<uint8_t *>(SMSharedMemGetAddressPtr(memory));
    bytes[kSize - 1] = 7;
    EXPECT_EQ(bytes[0], 0);
    SMSharedMemFree(memory);
  }
}

/// The system has no set left, or one, which the placeholder of the first set of a namespace takes.
TEST(FailureTest, NoSemaphoresLeft)
{
  const std::function<bool()> creates[] = {
      [] { return SMSemaphoreCreate("pool", 1) == nullptr; }, [] { return SMSemaphoreCreate(nullptr, 1) == nullptr; },
      [] { return SMEventCreate("start", 1, 1) == nullptr; }, [] { return SMSharedMemCreate("table", 64) == nullptr; }};
  for (const char *sets : {"0", "1"}) {
    for (const auto &create : creates) {
      Child child([&](Inside &inside) {
        inside.report({unshare(CLONE_NEWIPC)});
        std::ofstream("/proc/sys/kernel/sem") << "250 32000 32 " << sets;
        const bool refused = create();
        inside.report("%d %s", refused, systemVObjects().c_str());
      });
      EXPECT_EQ(child.report(), "0\n1 \n") << sets << " sets, case " << &create - creates;
    }
  }
}

/// Each object guards or counts the steps of several processes: the sum is exact.
TEST(ContentionTest, ProcessesAddUp)
{
  constexpr int kProcesses = 8;
  constexpr int kSteps = 100;
  const Memory memory(SMSharedMemCreate("sum", 64));
  const Mutex mutex(SMMutexCreate("sum"));
  const Semaphore semaphore(SMSemaphoreCreate("sum2", 1));
  const Event event(SMEventCreate("sum3", 0, 1));
  volatile auto *sums = static_cast<uint32_t *>(SMSharedMemGetAddressPtr(memory));
  std::vector<std::unique_ptr<Child>> children;
  for (int i = 0; i < kProcesses; ++i) {
    children.push_back(std::make_unique<Child>([](Inside &) {
      volatile auto *own = static_cast<uint32_t *>(SMSharedMemGetAddressPtr(SMSharedMemOpen("sum")));
      OSSyncInfo *ownMutex = SMMutexOpen("sum");
      OSSyncInfo *ownSemaphore = SMSemaphoreOpen("sum2");
      OSSyncInfo *ownEvent = SMEventOpen("sum3");
      for (int step = 0; step < kSteps; ++step) {
        SMMutexLock(ownMutex, SM_WAIT_FOREVER);
        own[0] = own[0] + 1;
        SMMutexUnLock(ownMutex);
        SMSemaphoreAcquireWait(ownSemaphore, SM_WAIT_FOREVER);
        own[1] = own[1] + 1;
        SMSemaphoreRelease(ownSemaphore, 1, nullptr);
        SMEventWait(ownEvent, SM_WAIT_FOREVER);
        own[2] = own[2] + 1;
        SMEventSet(ownEvent);
      }
    }));
  }
  for (const auto &child : children) {
    EXPECT_EQ(child->wait(), 0);
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(sums[i], static_cast<uint32_t>(kProcesses * kSteps)) << i;
  }
}

TEST(FailureTest, EveryAllocationOfEveryCreate)
{
  const struct {
    const char *what;
    std::function<void()> scenario;
  } rows[] = {
      {"mutex", [] { SMMutexDestroy(SMMutexCreate("gate")); }},
      {"unnamed mutex", [] { SMMutexDestroy(SMMutexCreate(nullptr)); }},
      {"semaphore", [] { SMSemaphoreDestroy(SMSemaphoreCreate("pool", 1)); }},
      {"event", [] { SMEventDestroy(SMEventCreate("start", 1, 1)); }},
  };
  for (const auto &row : rows) {
    const long before = liveBlocks();
    const unsigned failed = failEach(Call::allocation, ENOMEM, [&row](unsigned) { row.scenario(); });
    EXPECT_EQ(liveBlocks(), before) << row.what;
    EXPECT_EQ(systemVObjects(), "") << row.what;
    EXPECT_GE(failed, 1u) << row.what;
  }
}

}  // namespace
