// Threads, dynamic libraries, process services, and critical sections.

#include <dlfcn.h>
#include <pthread.h>

#include "support/signed_statuses.h"
#include "support/test.h"

namespace {

/// Whether a thread's record held its identifier when the C library had created it.
bool recordWasComplete = false;

}  // namespace

extern "C" int pthread_create(pthread_t *identifier, const pthread_attr_t *attributes, void *(*routine)(void *),
                              void *argument)
{
  const auto real = reinterpret_cast<decltype(pthread_create) *>(dlsym(RTLD_NEXT, "pthread_create"));
  const int error = real(identifier, attributes, routine, argument);
  if (error == 0 && routine == OSThreadStub) {
    recordWasComplete = static_cast<OSThread *>(argument)->thread == static_cast<uintptr_t>(*identifier);
  }
  return error;
}

namespace {

using namespace support;

std::atomic<uintptr_t> lastArgument{0};

uint32_t keepArgument(uintptr_t argument)
{
  lastArgument = argument;
  return 5;
}

TEST(ThreadTest, RunsTheRoutineAndJoins)
{
  EXPECT_EQ(SMThreadStart(nullptr, 1), nullptr);
  EXPECT_EQ(OSThreadStub(nullptr), nullptr);
  OSThread *thread = SMThreadStart(keepArgument, UINTPTR_MAX - 1);
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(SMThreadStop(thread), kOk);
  EXPECT_TRUE(recordWasComplete);
  EXPECT_EQ(lastArgument, UINTPTR_MAX - 1) << "the stop came after the routine's end";
  const Fault fault(Call::allocation, 1);
  EXPECT_EQ(SMThreadStart(keepArgument, 0), nullptr);
}

TEST(LibraryTest, LoadsAndLinks)
{
  EXPECT_EQ(SMLibLoad(nullptr), nullptr);
  EXPECT_EQ(SMLibLoad("/no/such/library.so"), nullptr);
  {
    const Fault fault(Call::allocation, 1);
    EXPECT_EQ(SMLibLoad("libc.so.6"), nullptr);
  }
  OSSyncInfo *library = SMLibLoad(QVSUPT32_LIBRARY);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->kind, 0u);
  EXPECT_STREQ(library->name, QVSUPT32_LIBRARY);
  void *address = SMLibLinkToExportFN(library, "SMLibLoad");
  EXPECT_NE(address, nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(library, "NoSuchName"), nullptr);
  EXPECT_EQ(SMLibUnLinkFromExportFN(library, address), kOk);
  EXPECT_EQ(SMLibUnLoad(library), kOk);

  EXPECT_EQ(SMLibLinkToExportFN(nullptr, "SMLibLoad"), nullptr);
  OSSyncInfo *mutex = SMMutexCreate(nullptr);
  EXPECT_EQ(SMLibUnLoad(mutex), kBadType);
  EXPECT_EQ(SMLibUnLinkFromExportFN(mutex, nullptr), kBadType);
  EXPECT_EQ(SMLibLinkToExportFN(mutex, "SMLibLoad"), nullptr);
  SMMutexDestroy(mutex);
}

TEST(ProcessTest, KeyboardTest)
{
  for (const std::string input : {"", "x", "none"}) {
    Child child([&input](Inside &inside) {
      int ends[2];
      ASSERT_EQ(pipe(ends), 0);
      dup2(ends[0], STDIN_FILENO);
      if (input == "none") {
        close(STDIN_FILENO);
      } else {
        (void)write(ends[1], input.data(), input.size());  // what arrives is seen
      }
      inside.report("%u", SMkbhit());
    });
    EXPECT_EQ(child.report(), input == "x" ? "1\n" : "0\n");
  }
  EXPECT_EQ(SMLongFileNamesEnable(), kOk);
  EXPECT_EQ(SMLongFileNamesDisable(), kOk);
}

TEST(ProcessTest, ShutdownRunsTheCommand)
{
  // A recorder stands in for the machine's command. The pipe is open for writing too: it has no end between two commands,
  // and the recorder is taken away only when both have been asked for.
  if (access("/sbin/shutdown", F_OK) != 0) {
    GTEST_SKIP() << "no /sbin/shutdown to stand in for";
  }
  ASSERT_EQ(mkdir("/etc/scratch", 0755), 0);
  std::ofstream("/etc/scratch/shutdown") << "#!/bin/sh\necho \"$@\" >/etc/scratch/asked\n";
  ASSERT_EQ(chmod("/etc/scratch/shutdown", 0755), 0);
  ASSERT_EQ(mkfifo("/etc/scratch/asked", 0600), 0);
  ASSERT_EQ(system("mount --bind /etc/scratch/shutdown /sbin/shutdown"), 0);
  std::fstream pipe("/etc/scratch/asked");
  const auto asked = [&pipe](int32_t result) {
    std::string line;
    std::getline(pipe, line);
    return std::to_string(result) + " " + line;
  };
  EXPECT_EQ(asked(SMOSShutdown(9, 1)), "1 -r now");
  EXPECT_EQ(asked(SMOSShutdown(0, 2)), "1 -h now");
  ASSERT_EQ(system("umount --lazy /sbin/shutdown"), 0);  // its shell may still be reading it
}

// Critical sections ---------------------------------------------------------------------------------------------------

std::atomic<int> inside{0};
std::atomic<int> most{0};
int runs = 0;  // guarded by the section

uint32_t countRuns(uintptr_t)
{
  most = std::max<int>(most, ++inside);
  ++runs;
  --inside;
  return 0;
}

uint32_t runOther(uintptr_t argument)
{
  EXPECT_NE(pOSCritSecRBTree, nullptr);
  SMCriticalSectionExecute(keepArgument, argument, SM_WAIT_FOREVER);
  return 0;
}

template <int kWhich>
uint32_t addTo(uintptr_t sums)
{
  ++reinterpret_cast<int *>(sums)[kWhich];
  return 0;
}

TEST(CriticalSectionTest, RunsOnlyWhereItMay)
{
  lastArgument = 0;
  SMCriticalSectionExecute(nullptr, 1, SM_WAIT_FOREVER);
  SMCriticalSectionExecute(keepArgument, 1, 0);
  SMCriticalSectionExecute(keepArgument, 1, 5000);
  EXPECT_EQ(lastArgument, 0u);
  SMCriticalSectionExecute(runOther, 77, SM_WAIT_FOREVER);
  EXPECT_EQ(lastArgument, 77u);
  EXPECT_EQ(pOSCritSecRBTree, nullptr) << "nobody is inside";
  const long before = liveBlocks();
  const unsigned failed = failEach(Call::allocation, ENOMEM, [before](unsigned) {
    lastArgument = 0;
    SMCriticalSectionExecute(keepArgument, 3, SM_WAIT_FOREVER);
    EXPECT_EQ(pOSCritSecRBTree, nullptr);
    EXPECT_EQ(liveBlocks(), before);
  });
  EXPECT_EQ(failed, 3u) << "record, section, node";
  EXPECT_EQ(lastArgument, 3u);
  {
    const Fault allocations(Call::allocation);
    SMCriticalSectionExecute(keepArgument, 4, SM_WAIT_FOREVER);
    EXPECT_EQ(lastArgument, 4u);
    EXPECT_EQ(allocations.calls(), 0u) << "the record of the last routine is kept";
  }
  SMCriticalSectionExecute(runOther, 5, SM_WAIT_FOREVER);  // uses the kept record beside one of its own
  EXPECT_EQ(pOSCritSecRBTree, nullptr);
  Child detached([](Child::Inside &child) {
    ModuleDetach();
    lastArgument = 0;
    SMCriticalSectionExecute(keepArgument, 1, SM_WAIT_FOREVER);
    child.report("%d %d", static_cast<int>(lastArgument), pOSCritSectRBTLock == nullptr);
  });
  EXPECT_EQ(detached.report(), "0 1\n");
}

TEST(CriticalSectionTest, ThreadsExcludeEachOtherByRoutine)
{
  constexpr int kThreads = 16;
  constexpr int kSteps = 200;
  int sums[4] = {};
  static constexpr OSRoutine kRoutines[4] = {addTo<0>, addTo<1>, addTo<2>, addTo<3>};
  runs = 0;
  most = 0;
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&sums, i] {
      for (int step = 0; step < kSteps; ++step) {
        SMCriticalSectionExecute(countRuns, 0, SM_WAIT_FOREVER);
        SMCriticalSectionExecute(kRoutines[(i + step) % 4], reinterpret_cast<uintptr_t>(sums), SM_WAIT_FOREVER);
      }
    });
  }
  threads.clear();
  EXPECT_EQ(runs, kThreads * kSteps);
  EXPECT_EQ(most, 1);
  EXPECT_EQ(sums[0] + sums[1] + sums[2] + sums[3], kThreads * kSteps);
  EXPECT_EQ(pOSCritSecRBTree, nullptr);
}

TEST(CriticalSectionTest, RegistryOrder)
{
  struct {
    OSRoutine routine;
    int32_t users;
    void *section;
  } record = {keepArgument, 0, nullptr};
  const auto own = reinterpret_cast<uintptr_t>(keepArgument);
  EXPECT_EQ(OSCriticalSectionRBTWalk(reinterpret_cast<void *>(own), &record), 0);
  EXPECT_EQ(OSCriticalSectionRBTWalk(reinterpret_cast<void *>(own - 1), &record), -1);
  EXPECT_EQ(OSCriticalSectionRBTWalk(reinterpret_cast<void *>(UINTPTR_MAX), &record), 1);
  EXPECT_EQ(OSCriticalSectionRBTWalk(nullptr, &record), -1);
}

TEST(CriticalSectionTest, PlainSections)
{
  SMLocalMutex *section = OSInitCriticalSection();
  ASSERT_NE(section, nullptr);
  OSEnterCriticalSection(section);
  std::thread([section] { EXPECT_EQ(WaitForLocalMutex(section, 0), kTimeout); }).join();
  OSExitCriticalSection(section);
  EXPECT_EQ(WaitForLocalMutex(section, 0), kOk);
  OSExitCriticalSection(section);
  OSDeleteCriticalSection(section);
}

}  // namespace
