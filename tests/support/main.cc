// The main program of every test program: it runs inside the sandbox only, with a time limit on each case, which a
// debugger takes off, and the residue check after each.

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>

#include "support/inside_sandbox.h"
#include "support/residue.h"

namespace {

/// Ends a case that hangs: a lock that is never released must not hold up the whole run.
class TimeLimit : public testing::EmptyTestEventListener {
  static constexpr unsigned kSeconds = 300;
  void OnTestStart(const testing::TestInfo &) override { alarm(kSeconds); }
  void OnTestEnd(const testing::TestInfo &) override { alarm(0); }
};

}  // namespace

int main(int argc, char **argv)
{
  support::requireSandbox(argv[0]);
  mallopt(M_PERTURB, 0xA5);  // a new block is no zeros, and one that was freed is not what it was
  testing::InitGoogleTest(&argc, argv);
  testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
  if (getenv("QVSUPT32_NO_TIME_LIMIT") == nullptr) {
    listeners.Append(new TimeLimit);
  }
  listeners.Append(new support::ResidueCheck);
  return RUN_ALL_TESTS();
}
