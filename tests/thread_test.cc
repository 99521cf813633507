// Threads, dynamic libraries, process services, and critical sections.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/faults.h"

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

using support::Call;
using support::Child;

std::atomic<uintptr_t> lastArgument{0};

uint32_t keepArgument(uintptr_t argument)
{
  lastArgument = argument;
  return 5;
}

TEST(ThreadTest, RunsTheRoutineAndJoins)
{
  EXPECT_EQ(nullptr, SMThreadStart(nullptr, 1));
  EXPECT_EQ(271, SMThreadStop(nullptr));
  EXPECT_EQ(nullptr, OSThreadStub(nullptr));
  OSThread *thread = SMThreadStart(keepArgument, UINTPTR_MAX - 1);
  ASSERT_NE(nullptr, thread);
  EXPECT_EQ(0, SMThreadStop(thread));
  EXPECT_TRUE(recordWasComplete);
  EXPECT_EQ(UINTPTR_MAX - 1, lastArgument) << "the stop came after the routine's end";
  const support::Fault fault(Call::allocation, 1);
  EXPECT_EQ(nullptr, SMThreadStart(keepArgument, 0));
}

TEST(LibraryTest, LoadsAndLinks)
{
  EXPECT_EQ(nullptr, SMLibLoad(nullptr));
  EXPECT_EQ(nullptr, SMLibLoad("/no/such/library.so"));
  {
    const support::Fault fault(Call::allocation, 1);
    EXPECT_EQ(nullptr, SMLibLoad("libc.so.6"));
  }
  OSSyncInfo *library = SMLibLoad(QVSUPT32_LIBRARY);
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(0u, library->kind);
  EXPECT_STREQ(QVSUPT32_LIBRARY, library->name);
  void *address = SMLibLinkToExportFN(library, "SMLibLoad");
  EXPECT_NE(nullptr, address);
  EXPECT_EQ(nullptr, SMLibLinkToExportFN(library, "NoSuchName"));
  EXPECT_EQ(0, SMLibUnLinkFromExportFN(library, address));
  EXPECT_EQ(0, SMLibUnLoad(library));

  EXPECT_EQ(271, SMLibUnLoad(nullptr));
  EXPECT_EQ(271, SMLibUnLinkFromExportFN(nullptr, address));
  EXPECT_EQ(nullptr, SMLibLinkToExportFN(nullptr, "SMLibLoad"));
  OSSyncInfo *mutex = SMMutexCreate(nullptr);
  EXPECT_EQ(257, SMLibUnLoad(mutex));
  EXPECT_EQ(257, SMLibUnLinkFromExportFN(mutex, nullptr));
  EXPECT_EQ(nullptr, SMLibLinkToExportFN(mutex, "SMLibLoad"));
  SMMutexDestroy(mutex);
}

TEST(ProcessTest, KeyboardTest)
{
  const auto answer = [](void (*prepare)()) {
    Child child([prepare](Child::Inside &inside) {
      prepare();
      inside.report("%u", SMkbhit());
    });
    return child.report();
  };
  EXPECT_EQ("0\n", answer([] { close(STDIN_FILENO); }));
  EXPECT_EQ("0\n", answer([] {
              int ends[2];
              ASSERT_EQ(0, pipe(ends));
              dup2(ends[0], STDIN_FILENO);
            }));
  EXPECT_EQ("1\n", answer([] {
              int ends[2];
              ASSERT_EQ(0, pipe(ends));
              dup2(ends[0], STDIN_FILENO);
              ASSERT_EQ(1, write(ends[1], "x", 1));
            }));
  EXPECT_EQ(0, SMLongFileNamesEnable());
  EXPECT_EQ(0, SMLongFileNamesDisable());
}

TEST(ProcessTest, ShutdownRunsTheCommand)
{
  // A recorder stands in for the machine's command.
  if (access("/sbin/shutdown", F_OK) != 0) {
    GTEST_SKIP() << "no /sbin/shutdown to stand in for";
  }
  ASSERT_EQ(0, mkdir("/etc/scratch", 0755));
  std::ofstream("/etc/scratch/shutdown") << "#!/bin/sh\necho \"$@\" > \"/etc/scratch/asked.$1\"\n";
  ASSERT_EQ(0, chmod("/etc/scratch/shutdown", 0755));
  ASSERT_EQ(0, system("mount --bind /etc/scratch/shutdown /sbin/shutdown"));
  const auto asked = [](const char *option) {
    const std::string path = std::string("/etc/scratch/asked.") + option;
    std::string line;
    for (int tries = 0; line.empty() && tries < 5000; ++tries) {
      std::ifstream file(path);
      std::getline(file, line);
      usleep(1000);
    }
    return line;
  };
  EXPECT_EQ(1, SMOSShutdown(9, 1));
  EXPECT_EQ("-r now", asked("-r"));
  EXPECT_EQ(1, SMOSShutdown(0, 2));
  EXPECT_EQ("-h now", asked("-h"));
  ASSERT_EQ(0, system("umount /sbin/shutdown"));
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
  EXPECT_EQ(0u, lastArgument);
  SMCriticalSectionExecute(runOther, 77, SM_WAIT_FOREVER);
  EXPECT_EQ(77u, lastArgument);
  EXPECT_EQ(nullptr, pOSCritSecRBTree) << "nobody is inside";
  const long before = support::liveBlocks();
  const unsigned failed = support::failEach(Call::allocation, ENOMEM, [before](unsigned) {
    lastArgument = 0;
    SMCriticalSectionExecute(keepArgument, 3, SM_WAIT_FOREVER);
    EXPECT_EQ(nullptr, pOSCritSecRBTree);
    EXPECT_EQ(before, support::liveBlocks());
  });
  EXPECT_EQ(3u, failed) << "record, section, node";
  EXPECT_EQ(3u, lastArgument);
  Child detached([](Child::Inside &child) {
    ModuleDetach();
    lastArgument = 0;
    SMCriticalSectionExecute(keepArgument, 1, SM_WAIT_FOREVER);
    child.report("%d %d", static_cast<int>(lastArgument), pOSCritSectRBTLock == nullptr);
  });
  EXPECT_EQ("0 1\n", detached.report());
}

TEST(CriticalSectionTest, ThreadsExcludeEachOtherByRoutine)
{
  constexpr int kThreads = 16;
  constexpr int kSteps = 200;
  int sums[4] = {};
  static constexpr OSRoutine kRoutines[4] = {addTo<0>, addTo<1>, addTo<2>, addTo<3>};
  runs = 0;
  most = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&sums, i] {
      for (int step = 0; step < kSteps; ++step) {
        SMCriticalSectionExecute(countRuns, 0, SM_WAIT_FOREVER);
        SMCriticalSectionExecute(kRoutines[(i + step) % 4], reinterpret_cast<uintptr_t>(sums), SM_WAIT_FOREVER);
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(kThreads * kSteps, runs);
  EXPECT_EQ(1, most);
  EXPECT_EQ(kThreads * kSteps, sums[0] + sums[1] + sums[2] + sums[3]);
  EXPECT_EQ(nullptr, pOSCritSecRBTree);
}

TEST(CriticalSectionTest, RegistryOrder)
{
  struct {
    OSRoutine routine;
    int32_t users;
    void *section;
  } record = {keepArgument, 0, nullptr};
  const auto own = reinterpret_cast<uintptr_t>(keepArgument);
  EXPECT_EQ(0, OSCriticalSectionRBTWalk(reinterpret_cast<void *>(own), &record));
  EXPECT_EQ(-1, OSCriticalSectionRBTWalk(reinterpret_cast<void *>(own - 1), &record));
  EXPECT_EQ(1, OSCriticalSectionRBTWalk(reinterpret_cast<void *>(UINTPTR_MAX), &record));
  EXPECT_EQ(-1, OSCriticalSectionRBTWalk(nullptr, &record));
}

TEST(CriticalSectionTest, PlainSections)
{
  SMLocalMutex *section = OSInitCriticalSection();
  ASSERT_NE(nullptr, section);
  OSEnterCriticalSection(section);
  std::thread([section] { EXPECT_EQ(3, WaitForLocalMutex(section, 0)); }).join();
  OSExitCriticalSection(section);
  EXPECT_EQ(0, WaitForLocalMutex(section, 0));
  OSExitCriticalSection(section);
  OSDeleteCriticalSection(section);
  OSEnterCriticalSection(nullptr);
  OSExitCriticalSection(nullptr);
  OSDeleteCriticalSection(nullptr);
}

}  // namespace
