// A 32-bit and a 64-bit process share everything that the library shares between processes, each in both parts: logs
// across their rotation, named objects, blocks, the file lock. soak_test does so with settings.

#include "support/test.h"

namespace {

using namespace support;

/// The width's own peer and the other one's, in both orders.
class MixedWidth : public Scratch, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override
  {
    if (access(QVSUPT32_OTHER_PEER, X_OK) != 0) {
      ASSERT_EQ(getenv("QVSUPT32_BOTH_WIDTHS"), nullptr) << QVSUPT32_OTHER_PEER << " is missing";
      GTEST_SKIP() << "the other width's build has no width_peer";
    }
  }

  static Child first(std::vector<std::string> command) { return peer(GetParam(), std::move(command)); }
  static Child second(std::vector<std::string> command) { return peer(!GetParam(), std::move(command)); }

 private:
  static Child peer(bool ofThisWidth, std::vector<std::string> command)
  {
    command.insert(command.begin(), ofThisWidth ? QVSUPT32_PEER : QVSUPT32_OTHER_PEER);
    return Child([&command](Inside &inside) { inside.become(command); });
  }
};

TEST_P(MixedWidth, BlocksAreTheSameBytes)
{
  Child one = first({"block"});
  Child other = second({"block"});
  const std::string block = one.report();
  EXPECT_TRUE(block.starts_with("424f4453")) << block;
  EXPECT_EQ(other.report(), block);
}

TEST_P(MixedWidth, NamedObjectsAreShared)
{
  Child creator = first({"create-objects"});
  ASSERT_TRUE(creator.waitHeld()) << creator.report();
  Child user = second({"use-objects"});
  ASSERT_TRUE(user.waitHeld()) << user.report();
  creator.release();
  ASSERT_TRUE(creator.waitHeld()) << creator.report();
  user.release();
  ASSERT_TRUE(user.waitHeld()) << "the user has locked the mutex: " << user.report();
  user.signal(SIGKILL);
  EXPECT_EQ(user.wait(), 128 + SIGKILL);
  creator.release();
  EXPECT_EQ(creator.report(), "");
}

TEST_P(MixedWidth, LogsOfBothAreWholeAcrossARotation)
{
  const size_t events = isEmulated() ? 50 : 500;
  // One rotation of each: every record is in the log or in its backup.
  const std::vector<std::string> append = {"append", path("x"), std::to_string(events), std::to_string(events * 600)};
  Child one = first(append);
  Child other = second(append);
  EXPECT_EQ(one.report() + other.report(), "");
  const std::string xml = get(path("x.xml"));
  const std::string oldXml = get(path("x.xm_"));
  EXPECT_EQ(count(xml + oldXml, "<Source>peer</Source><Description>event</Description>"), 2 * events);
  EXPECT_EQ(count(xml + oldXml, "Log backup created"), 1u);
  for (const std::string &log : {xml, oldXml}) {
    EXPECT_EQ(count(log, "<LogEntry>"), count(log, "</LogEntry>"));
    EXPECT_TRUE(log.ends_with("</LogEntry></EventLog>"));
  }
  std::string text = get(path("x.log")) + get(path("x.lo_"));
  std::erase(text, '\0');
  EXPECT_GE(count(text, "Log backup created"), 1u);
  EXPECT_EQ(count(text, "\r\nDescription:\r\nevent\r\nData: Bytes in Hex\r\n0x00000000: 77 69 64 74"),
            count(text, "Source: peer") - count(text, "Log backup created"));
}

TEST_P(MixedWidth, AKilledHolderOfTheFileLockFreesIt)
{
  Child holder = first({"hold-file-lock"});
  ASSERT_TRUE(holder.waitHeld()) << holder.report();
  // The attach at load would wait for the holder, so the other side is asked from here.
  EXPECT_EQ(FileLock(0), 0u);
  Child waiting = second({"try-file-lock"});
  holder.signal(SIGKILL);
  EXPECT_EQ(waiting.report(), "1\n");
}

INSTANTIATE_TEST_SUITE_P(Widths, MixedWidth, testing::Bool(),
                         [](const auto &order) { return order.param ? "ThisWidthFirst" : "OtherWidthFirst"; });

}  // namespace
