// The guard of every operation on a shared file: threads and processes exclude each other (many at once do so in
// store_stress_test), waits count their steps once, who does not wait is refused by other processes only, and nothing
// stays locked after a failure, a fork or a canceled thread.

#include "frame/lock/file_guard.h"

#include <pthread.h>
#include <sched.h>

#include <future>

#include "support/observed_thread.h"
#include "support/test.h"

namespace {

using namespace support;
using qv::FileGuard;

constexpr char kHeld[] = "WRITE 120000 120000\n";
constexpr uint16_t kTry = 0;
constexpr uint16_t kWait = 1;

std::string ownLocks()
{
  return recordLocks(getpid());
}

bool obtains(uint16_t mode)
{
  const FileGuard guard(mode);
  return static_cast<bool>(guard);
}

/// An operation of the library itself that does not wait.
uint32_t tryToRead()
{
  char value[8];
  uint32_t size = sizeof(value);
  return ReadINIFileValue_astring("s", "k", value, &size, nullptr, 0, "/etc/hostname", kTry);
}

/// Whether nobody is inside and no other process holds the record: a try comes in without a sleep.
bool isFree()
{
  const Fault sleeps(Call::futexWait);
  return obtains(kTry) && sleeps.calls() == 0;
}

TEST(FileGuard, TryIsNeverRefusedByThreadsOfItsProcess)
{
  std::atomic<int> refused = 0;
  std::vector<std::jthread> threads;
  for (const uint16_t mode : {kTry, kWait, uint16_t{2}, uint16_t{0xFFFF}}) {
    threads.emplace_back([&refused, mode] {
      for (int i = 0; i < 1000; ++i) {
        refused += obtains(mode) ? 0 : 1;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(refused, 0);

  std::optional<FileGuard> guard(std::in_place, kWait);
  std::atomic<bool> entered = false;
  {
    const ObservedThread trying([&] { entered = obtains(kTry); });
    trying.waitUntilAsleep();
    EXPECT_FALSE(entered);
    guard.reset();
  }
  EXPECT_TRUE(entered) << "it waited for the insider's work";
}

TEST(FileGuard, TryIsRefusedAtOnceWhereTheInsiderWaitsForAnotherProcess)
{
  RecordHolder holder(kFileLockRecord);
  std::promise<void> tried;
  std::promise<void> refused;
  std::optional<ObservedThread> trying;
  std::thread waiting([&] {
    const Fault firstSleep(Call::usleep, 1, [&] {
      tried.set_value();
      refused.get_future().wait();
      holder.letGo();
    });
    const FileGuard guard(kWait);
    EXPECT_TRUE(guard);
    trying.emplace([] { EXPECT_TRUE(obtains(kTry)) << "the insider waits no longer"; });
    trying->waitUntilAsleep();
  });
  tried.get_future().wait();
  {
    const Fault tries(Call::fcntl);
    const Fault sleeps(Call::futexWait);
    EXPECT_FALSE(obtains(kTry));
    EXPECT_EQ(tries.calls() + sleeps.calls(), 0u);
  }
  refused.set_value();
  waiting.join();
  trying.reset();
  EXPECT_TRUE(isFree());
}

TEST(FileGuard, TryWaitsUntilItIsKnownWhetherAnotherProcessHasTheRecord)
{
  std::optional<ObservedThread> trying;
  std::atomic<bool> done = false;
  std::atomic<bool> obtained = false;
  const auto tryAndWait = [&] {
    trying.emplace([&] {
      obtained = obtains(kTry);
      done = true;
    });
    trying->waitUntilAsleep();
    EXPECT_FALSE(done) << "the insider has not tried the record yet";
  };
  {
    const Fault firstTry(Call::fcntl, 1, tryAndWait);
    EXPECT_TRUE(obtains(kTry));
  }
  trying.reset();
  EXPECT_TRUE(obtained);
  done = false;

  // The record turns out to be another process's: those that wait for the insider are refused with it.
  RecordHolder holder(kFileLockRecord);
  std::thread waiting([&] {
    const Fault firstTry(Call::fcntl, 1, tryAndWait);
    const Fault sleeps(Call::usleep, 1, [&] {
      trying.reset();
      holder.letGo();
    });
    const Fault wakes(Call::futexWake);
    EXPECT_TRUE(obtains(kWait));
    EXPECT_EQ(wakes.calls(), 1u);
  });
  waiting.join();
  EXPECT_FALSE(obtained);
}

TEST(FileGuard, LeavingWakesWhoWaitsAndLetsNobodyInBefore)
{
  std::optional<FileGuard> guard(std::in_place, kWait);
  std::promise<void> hasWaited;
  std::promise<void> mayGoOn;
  std::thread waiting([&] {
    const Fault secondSleep(Call::futexWait, 2, [&] {
      hasWaited.set_value();
      mayGoOn.get_future().wait();
    });
    EXPECT_TRUE(obtains(kWait));
  });
  hasWaited.get_future().wait();
  {
    const Fault wakes(Call::futexWake);
    guard.reset();
    EXPECT_EQ(wakes.calls(), 1u);
    const Fault sleeps(Call::futexWait, 1, [&] {
      mayGoOn.set_value();
      waiting.join();
    });
    EXPECT_TRUE(obtains(kWait));
    EXPECT_EQ(sleeps.calls(), 1u) << "the gate was reserved for the thread that had waited for a whole step";
    if (sleeps.calls() == 0) {
      mayGoOn.set_value();
      waiting.join();
    }
  }
  const Fault wakes(Call::futexWake);
  EXPECT_TRUE(obtains(kWait));
  EXPECT_EQ(wakes.calls(), 0u) << "nothing waits";
}

TEST(FileGuard, TakesTheGateBeforeTheRecordAndLeavesItAfter)
{
  std::optional<FileGuard> guard(std::in_place, kWait);
  ASSERT_TRUE(*guard);
  EXPECT_EQ(ownLocks(), kHeld);
  std::optional<ObservedThread> next;
  std::atomic<bool> inside = false;
  {
    const Fault release(Call::fcntl, 1, [&] {
      next.emplace([&] { inside = obtains(kWait); });
      next->waitUntilAsleep();
      EXPECT_FALSE(inside) << "no thread gets in while the record is still held";
    });
    guard.reset();
  }
  next.reset();
  EXPECT_TRUE(inside);
  EXPECT_EQ(ownLocks(), "");
  EXPECT_TRUE(isFree());
}

TEST(FileGuard, WaitSharesItsStepsBetweenGateAndRecord)
{
  for (const unsigned stepsAtGate : {20000u, 60000u}) {
    Child other([](Child::Inside &inside) {
      inside.hold();
      if (FileLock(kTry) == 1) {
        inside.hold();
      }
    });
    ASSERT_TRUE(other.waitHeld());
    std::optional<FileGuard> first(std::in_place, kWait);
    {
      const Fault sleepsAtGate(Call::futexWait, stepsAtGate, [&] {
        first.reset();
        other.release();
        EXPECT_TRUE(other.waitHeld());
      });
      const Fault sleeps(Call::usleep);
      const Fault tries(Call::fcntl);
      EXPECT_FALSE(obtains(kWait));
      EXPECT_EQ(sleepsAtGate.calls(), stepsAtGate);
      EXPECT_EQ(sleeps.calls(), 60000 - stepsAtGate);
      EXPECT_EQ(sleeps.slept(), 1000 * sleeps.calls());
      EXPECT_EQ(tries.calls(), 1 + sleeps.calls() + 1) << "the first guard's release, and a try after each sleep";
    }
    EXPECT_FALSE(isFree());
    other.release();
    EXPECT_EQ(other.wait(), 0);
    EXPECT_TRUE(isFree()) << "the gate is left if the record was not obtained";
  }
  const FileGuard first(kWait);
  for (const uint16_t mode : {kWait, kTry}) {
    const Fault sleeps(Call::futexWait, 1, EINTR, true);  // a sleep cut short by a signal is a step as well
    EXPECT_FALSE(obtains(mode)) << "not recursive";
    EXPECT_EQ(sleeps.calls(), 60000u);
  }
}

TEST(FileGuard, FailuresLeaveNothingLocked)
{
  for (const int error : {EACCES, EAGAIN, EIO, ENOLCK}) {
    const Fault fault(Call::fcntl, 1, error);
    EXPECT_FALSE(isFree());
    EXPECT_TRUE(isFree()) << "after errno " << error;
  }
  {
    std::optional<FileGuard> guard(std::in_place, kTry);
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

TEST(FileGuard, CancelHasNoEffectInside)
{
  std::thread thread([] {
    int state;
    {
      const FileGuard guard(kWait);
      pthread_cancel(pthread_self());
      pthread_testcancel();
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
      EXPECT_EQ(state, PTHREAD_CANCEL_DISABLE);
    }
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE) << "the caller's state is back";
  });
  thread.join();
  // The same in an operation of the library, whose frames a cancelation does not clean up.
  Child child([](Child::Inside &inside) {
    std::thread canceled([] {
      const Fault release(Call::fcntl, 2, [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
      });
      (void)tryToRead();
    });
    canceled.join();
    const Fault sleeps(Call::futexWait);
    inside.report({tryToRead() == SM_STATUS_LOCK_FAILED, sleeps.calls()});
  });
  EXPECT_EQ(child.report(), "0 0\n");
}

TEST(FileGuard, ChildForkedWhileAThreadIsInsideGetsIn)
{
  std::promise<void> inside;
  std::promise<void> forked;
  std::thread thread([&] {
    const FileGuard guard(kWait);
    EXPECT_TRUE(guard);
    inside.set_value();
    forked.get_future().wait();
  });
  inside.get_future().wait();
  Child child([](Child::Inside &insideChild) {
    insideChild.report({isFree()});
    insideChild.hold();
    insideChild.report({isFree()});
    const FileGuard guard(kTry);
    insideChild.report({static_cast<bool>(guard), ownLocks() == kHeld});
  });
  EXPECT_TRUE(child.waitHeld());
  forked.set_value();
  thread.join();
  child.release();
  EXPECT_EQ(child.report(), "0\n1\n1 1\n") << "the parent's record counts, its thread does not";
}

TEST(FileGuard, ChildWithTheNumberOfTheInsidersProcessGetsIn)
{
  // The first process of a namespace of process numbers, and its child that is the first one of another.
  Child outer([](Child::Inside &inside) {
    inside.report({unshare(CLONE_NEWPID)});
    Child first([](Child::Inside &insideFirst) {
      insideFirst.report({getpid(), unshare(CLONE_NEWPID)});
      std::optional<Child> second;
      const Fault release(Call::fcntl, 2, [&] {
        second.emplace([](Child::Inside &insideSecond) {
          insideSecond.hold();
          const Fault sleeps(Call::futexWait);
          insideSecond.report({getpid(), tryToRead() == SM_STATUS_LOCK_FAILED, sleeps.calls()});
        });
      });
      (void)tryToRead();
      if (second && second->waitHeld()) {
        second->release();
        insideFirst.report("%s", second->report().c_str());
      }
    });
    inside.report("%s", first.report().c_str());
  });
  EXPECT_EQ(outer.report(), "0\n1 0\n1 0 0\n\n\n");
}

}  // namespace
