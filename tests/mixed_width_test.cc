// A 32-bit and a 64-bit process share everything that the library shares between processes, each in both parts: logs
// across their rotation, named objects, blocks, the file lock. soak_test does so with settings.

#include "support/test.h"

namespace {

using namespace support;

size_t occurrences(const std::string &text, const std::string &piece)
{
  size_t count = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + piece.size())) {
    ++count;
  }
  return count;
}

/// A peer that runs, with its input and output at our ends of two pipes.
class Peer {
 public:
  Peer(const std::string &program, std::vector<std::string> arguments)
  {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
      ADD_FAILURE() << "pipe";
      return;
    }
    std::vector<char *> argv = {const_cast<char *>(program.c_str())};
    for (std::string &argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = fdopen(out[0], "r");
  }
  ~Peer()
  {
    kill();
    close(input_);
    fclose(output_);
  }
  Peer(const Peer &) = delete;
  Peer &operator=(const Peer &) = delete;

  /// The next line of its output without the line feed; empty at the end.
  std::string line()
  {
    char *text = nullptr;
    size_t size = 0;
    const ssize_t length = getline(&text, &size, output_);
    std::string answer(text, length > 0 ? static_cast<size_t>(length) - 1 : 0);
    free(text);
    return answer;
  }

  void goOn() { EXPECT_EQ(write(input_, "\n", 1), 1); }

  void kill()
  {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      (void)wait();
    }
  }

  /// The exit status, 128 and more for a signal.
  int wait()
  {
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  FILE *output_ = nullptr;
};

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

  std::string first() const { return GetParam() ? QVSUPT32_PEER : QVSUPT32_OTHER_PEER; }
  std::string second() const { return GetParam() ? QVSUPT32_OTHER_PEER : QVSUPT32_PEER; }

  /// Runs the same command in both, at the same time.
  void runBoth(std::vector<std::string> a, std::vector<std::string> b)
  {
    Peer one(first(), std::move(a));
    Peer other(second(), std::move(b));
    const std::string said = one.line() + other.line();
    EXPECT_EQ(one.wait(), 0) << said;
    EXPECT_EQ(other.wait(), 0) << said;
  }

  const size_t count = isEmulated() ? 50 : 500;
};

TEST_P(MixedWidth, BlocksAreTheSameBytes)
{
  Peer one(first(), {"block"});
  Peer other(second(), {"block"});
  const std::string block = one.line();
  EXPECT_TRUE(block.starts_with("424f4453")) << block;
  EXPECT_EQ(other.line(), block);
}

TEST_P(MixedWidth, NamedObjectsAreShared)
{
  Peer creator(first(), {"create-objects"});
  ASSERT_EQ(creator.line(), "ready");
  Peer user(second(), {"use-objects"});
  ASSERT_EQ(user.line(), "ready");
  creator.goOn();
  ASSERT_EQ(creator.line(), "ready");
  user.goOn();
  ASSERT_EQ(user.line(), "ready") << "the user has locked the mutex";
  user.kill();
  creator.goOn();
  EXPECT_EQ(creator.line(), "");
  EXPECT_EQ(creator.wait(), 0);
}

TEST_P(MixedWidth, LogsOfBothAreWholeAcrossARotation)
{
  const std::string number = std::to_string(count);
  // One rotation of each: every record is in the log or in its backup.
  runBoth({"append", path("x"), number, std::to_string(count * 600)},
          {"append", path("x"), number, std::to_string(count * 600)});
  const std::string xml = support::get(path("x.xml"));
  const std::string oldXml = support::get(path("x.xm_"));
  EXPECT_EQ(occurrences(xml + oldXml, "<Source>peer</Source><Description>event</Description>"), 2 * count);
  EXPECT_EQ(occurrences(xml + oldXml, "Log backup created"), 1u);
  for (const std::string &log : {xml, oldXml}) {
    EXPECT_EQ(occurrences(log, "<LogEntry>"), occurrences(log, "</LogEntry>"));
    EXPECT_TRUE(log.ends_with("</LogEntry></EventLog>"));
  }
  std::string text = support::get(path("x.log")) + support::get(path("x.lo_"));
  std::erase(text, '\0');
  EXPECT_GE(occurrences(text, "Log backup created"), 1u);
  EXPECT_EQ(occurrences(text, "\r\nDescription:\r\nevent\r\nData: Bytes in Hex\r\n0x00000000: 77 69 64 74"),
            occurrences(text, "Source: peer") - occurrences(text, "Log backup created"));
}

TEST_P(MixedWidth, AKilledHolderOfTheFileLockFreesIt)
{
  Peer holder(first(), {"hold-file-lock"});
  ASSERT_EQ(holder.line(), "ready");
  // The attach at load would wait for the holder, so the other side is asked from here.
  EXPECT_EQ(FileLock(0), 0u);
  Peer waiting(second(), {"try-file-lock"});
  holder.kill();
  EXPECT_EQ(waiting.line(), "1");
  EXPECT_EQ(waiting.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Widths, MixedWidth, testing::Bool(),
                         [](const auto &order) { return order.param ? "ThisWidthFirst" : "OtherWidthFirst"; });

}  // namespace
