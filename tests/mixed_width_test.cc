// A 32-bit and a 64-bit process share everything that the library shares between processes, each in both parts: named
// objects and blocks. What they share by files is in soak_test.

#include "support/test.h"

namespace {

using namespace support;

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

INSTANTIATE_TEST_SUITE_P(Widths, MixedWidth, testing::Bool(),
                         [](const auto &order) { return order.param ? "ThisWidthFirst" : "OtherWidthFirst"; });

}  // namespace
