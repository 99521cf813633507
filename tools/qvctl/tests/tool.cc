// See tool.h.

#include "tool.h"

#include <poll.h>
#include <sys/ptrace.h>

#include "support/test.h"

namespace tool {
namespace {

using namespace support;

struct Pipe {
  Pipe() { EXPECT_EQ(pipe(ends), 0); }
  ~Pipe()
  {
    closeEnd(0);
    closeEnd(1);
  }
  void closeEnd(int which)
  {
    if (ends[which] >= 0) {
      close(ends[which]);
      ends[which] = -1;
    }
  }
  int ends[2] = {-1, -1};
};

void readInto(Pipe &from, std::string &text)
{
  char piece[4096];
  const ssize_t got = read(from.ends[0], piece, sizeof piece);
  if (got > 0) {
    text.append(piece, static_cast<size_t>(got));
  } else {
    from.closeEnd(0);
  }
}

/// Runs the program until its n-th stop at a system call, where it dies; 0 lets it end. Returns how many stops there
/// were.
unsigned runTraced(const std::string &arguments, unsigned killAt)
{
  const pid_t traced = fork();
  if (traced == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execl("/bin/sh", "sh", "-c", ("exec qvctl " + arguments + " >/dev/null").c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  unsigned stops = 0;
  EXPECT_EQ(waitpid(traced, &status, 0), traced);
  while (WIFSTOPPED(status)) {
    const int signal = WSTOPSIG(status);
    ptrace(PTRACE_SETOPTIONS, traced, nullptr, reinterpret_cast<void *>(PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC));
    if (signal == (SIGTRAP | 0x80) && ++stops == killAt) {
      kill(traced, SIGKILL);
      EXPECT_EQ(waitpid(traced, &status, 0), traced);
      break;
    }
    ptrace(PTRACE_SYSCALL, traced, nullptr, nullptr);
    EXPECT_EQ(waitpid(traced, &status, 0), traced);
  }
  return stops;
}

}  // namespace

Result run(const std::string &line, const std::string &input)
{
  Pipe in;
  Pipe out;
  Pipe err;
  const pid_t child = fork();
  if (child == 0) {
    dup2(in.ends[0], STDIN_FILENO);
    dup2(out.ends[1], STDOUT_FILENO);
    dup2(err.ends[1], STDERR_FILENO);
    for (Pipe *each : {&in, &out, &err}) {
      each->closeEnd(0);
      each->closeEnd(1);
    }
    execl("/bin/bash", "bash", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  in.closeEnd(0);
  out.closeEnd(1);
  err.closeEnd(1);
  Result result{};
  size_t written = 0;
  signal(SIGPIPE, SIG_IGN);
  while (out.ends[0] >= 0 || err.ends[0] >= 0) {
    if (written == input.size()) {
      in.closeEnd(1);
    }
    pollfd polled[] = {{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}, {in.ends[1], POLLOUT, 0}};
    poll(polled, 3, -1);
    if (polled[0].revents != 0) {
      readInto(out, result.out);
    }
    if (polled[1].revents != 0) {
      readInto(err, result.err);
    }
    if (polled[2].revents != 0) {
      constexpr size_t kPiece = 4096;  // a pipe that can be written to takes it without blocking
      const ssize_t put = write(in.ends[1], input.data() + written, std::min(kPiece, input.size() - written));
      written = put > 0 ? written + static_cast<size_t>(put) : input.size();
    }
  }
  signal(SIGPIPE, SIG_DFL);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

void expectRows(std::initializer_list<Row> rows)
{
  for (const Row &row : rows) {
    SCOPED_TRACE(row.line);
    const Result result = run(row.line);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.status, row.status) << result.err;
    if (*row.err == '\0') {
      EXPECT_EQ(result.err, "");
    } else {
      EXPECT_NE(result.err.find(row.err), std::string::npos) << result.err;
    }
  }
}

ToolTest::ToolTest()
{
  setenv("PATH", (fs::path(QVCTL_PROGRAM).parent_path().string() + ":/usr/bin:/bin:/usr/sbin:/sbin").c_str(), 1);
  setenv("LD_LIBRARY_PATH", fs::path(QVSUPT32_LIBRARY).parent_path().c_str(), 1);
  setenv("LANG", "C", 1);
  setenv("TZ", "UTC", 1);
  for (const char *name : {"/etc/tallowmere/vela/ini", "/etc/tallowmere/vela/log"}) {
    fs::create_directories(name);
  }
  fs::current_path(directory);
}

ToolTest::~ToolTest()
{
  fs::current_path("/");
  fs::remove_all("/etc/tallowmere/vela/ini");
  fs::remove_all("/etc/tallowmere/vela/log");
}

void killAtEveryCall(const std::string &arguments, const std::function<void()> &prepare,
                     const std::function<void()> &check)
{
  constexpr unsigned kCounted = 80;  // the calls before are those of the loader
  const bool failedBefore = testing::Test::HasFailure();
  prepare();
  const unsigned all = runTraced(arguments, 0);
  check();
  ASSERT_GT(all, 10u) << "the program cannot be traced";
  // Files that an earlier run left may take a few calls more: the last run is the one that ends by itself.
  for (unsigned stop = all > kCounted ? all - kCounted : 1; stop <= all + kCounted; ++stop) {
    prepare();
    const bool ended = runTraced(arguments, stop) < stop;
    check();
    if (!failedBefore && testing::Test::HasFailure()) {
      FAIL() << "after a kill at stop " << stop << " of " << all;
    }
    if (ended) {
      return;
    }
  }
  FAIL() << "the program does not end";
}

}  // namespace tool
