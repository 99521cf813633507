// The guard of every operation on a shared file: threads and processes exclude each other, waits count their steps
// once, and nothing stays locked behind a failure or a fork.

#include "frame/lock/file_guard.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <future>
#include <optional>
#include <thread>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/faults.h"
#include "support/record_locks.h"

namespace {

using qv::FileGuard;
using support::Call;
using support::Child;
using support::Fault;

constexpr char kHeld[] = "WRITE 120000 120000\n";

std::string ownLocks()
{
  return support::recordLocks(getpid());
}

/// Whether a guard that does not wait gets in.
bool isFree()
{
  const FileGuard guard(0);
  return static_cast<bool>(guard);
}

TEST(FileGuard, ThreadsOfAllProcessesExcludeEachOther)
{
  constexpr int kIncrements = 40;
  void *const shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  volatile int &sum = *static_cast<int *>(shared);
  const auto increment = [&sum](uint16_t mode) {
    for (int done = 0; done < kIncrements;) {
      const FileGuard guard(mode);
      if (guard) {
        const int seen = sum;
        sched_yield();
        sum = seen + 1;
        ++done;
      }
    }
  };
  const auto threads = [&increment](Child::Inside &) {
    std::thread waiting(increment, uint16_t{1});
    std::thread trying(increment, uint16_t{0});
    increment(0);
    waiting.join();
    trying.join();
  };
  Child one(threads);
  Child other(threads);
  EXPECT_EQ(one.wait() + other.wait(), 0);
  EXPECT_EQ(sum, 2 * 3 * kIncrements);
  munmap(shared, sizeof(int));
}

TEST(FileGuard, TakesTheGateBeforeTheRecordAndLeavesItAfter)
{
  std::optional<FileGuard> guard(std::in_place, uint16_t{1});
  ASSERT_TRUE(*guard);
  EXPECT_EQ(ownLocks(), kHeld);
  {
    const Fault records(Call::fcntl);
    const Fault sleeps(Call::usleep);
    for (const uint16_t mode : {uint16_t{0}, uint16_t{2}, uint16_t{0xFFFF}}) {
      std::thread([mode] { EXPECT_FALSE(FileGuard(mode)); }).join();
      EXPECT_FALSE(FileGuard(mode)) << "not recursive";
    }
    EXPECT_EQ(records.calls() + sleeps.calls(), 0u) << "a busy gate answers at once";
  }
  EXPECT_EQ(ownLocks(), kHeld) << "a guard that did not get in releases nothing";
  {
    bool freeInside = true;
    const Fault release(Call::fcntl, 1, [&] { freeInside = isFree(); });
    guard.reset();
    EXPECT_FALSE(freeInside) << "no thread gets in while the record is still held";
  }
  EXPECT_EQ(ownLocks(), "");
  EXPECT_TRUE(isFree());
}

TEST(FileGuard, WaitSharesItsStepsBetweenGateAndRecord)
{
  for (const unsigned stepsAtGate : {20000u, 60000u}) {
    Child other([](Child::Inside &inside) {
      inside.hold();
      if (FileLock(0) == 1) {
        inside.hold();
      }
    });
    ASSERT_TRUE(other.waitHeld());
    std::optional<FileGuard> first;
    const auto pass = [&] {
      first.reset();
      other.release();
      EXPECT_TRUE(other.waitHeld());
    };
    first.emplace(uint16_t{1});
    {
      const Fault sleeps(Call::usleep, stepsAtGate, pass);
      EXPECT_FALSE(FileGuard(1));
      EXPECT_EQ(sleeps.calls(), 60000u);
      EXPECT_EQ(sleeps.slept(), 60000000u);
    }
    EXPECT_FALSE(isFree());
    other.release();
    EXPECT_EQ(other.wait(), 0);
    EXPECT_TRUE(isFree()) << "the gate is left when the record was not obtained";
  }
  const FileGuard first(1);
  const Fault sleeps(Call::usleep);
  EXPECT_FALSE(FileGuard(1));
  EXPECT_EQ(sleeps.calls(), 60000u) << "all of them at the gate";
}

TEST(FileGuard, FailuresLeaveNothingLocked)
{
  for (const int error : {EACCES, EAGAIN, EIO, ENOLCK}) {
    const Fault fault(Call::fcntl, 1, error);
    EXPECT_FALSE(isFree());
    EXPECT_TRUE(isFree()) << "after errno " << error;
  }
  {
    std::optional<FileGuard> guard(std::in_place, uint16_t{0});
    const Fault fault(Call::fcntl, 1, EIO);
    errno = 4242;
    guard.reset();
    EXPECT_EQ(errno, 4242);
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_TRUE(isFree()) << "a record that could not be released";
  const uint32_t handle = hGFileLock;
  hGFileLock = 0;
  EXPECT_FALSE(isFree()) << "there is no lock";
  hGFileLock = handle;
  EXPECT_TRUE(isFree());
}

TEST(FileGuard, ChildForkedWhileAThreadIsInsideGetsIn)
{
  std::promise<void> inside;
  std::promise<void> done;
  std::thread thread([&] {
    const FileGuard guard(1);
    EXPECT_TRUE(guard);
    inside.set_value();
    done.get_future().wait();
  });
  inside.get_future().wait();
  Child child([](Child::Inside &insideChild) {
    insideChild.report({isFree()});
    insideChild.hold();
    const FileGuard guard(0);
    insideChild.report({static_cast<bool>(guard), isFree()});
  });
  ASSERT_TRUE(child.waitHeld());
  done.set_value();
  thread.join();
  child.release();
  EXPECT_EQ(child.report(), "0\n1 0\n") << "the parent's record counts, its thread does not";
}

}  // namespace
