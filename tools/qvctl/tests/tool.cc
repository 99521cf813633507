// See tool.h.

#include "tool.h"

#include <sys/mman.h>
#include <sys/ptrace.h>

#include "support/test.h"

namespace tool {
namespace {

using namespace support;

/// A file in memory.
int memoryFile(const std::string &content = "")
{
  const int file = memfd_create("stream", MFD_CLOEXEC);
  EXPECT_EQ(write(file, content.data(), content.size()), static_cast<ssize_t>(content.size()));
  lseek(file, 0, SEEK_SET);
  return file;
}

std::string taken(int file)
{
  const std::string content = get("/proc/self/fd/" + std::to_string(file));
  close(file);
  return content;
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
  const int in = memoryFile(input);
  const int out = memoryFile();
  const int err = memoryFile();
  const pid_t child = fork();
  if (child == 0) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execl("/bin/bash", "bash", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  (void)taken(in);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), taken(out), taken(err)};
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

const char *whyNotKilled()
{
  if (support::isEmulated()) {  // the 64-bit build does it
    return sizeof(void *) == 4 ? "an emulated program cannot be traced" : nullptr;
  }
#ifdef __SANITIZE_ADDRESS__
  return "a sanitizer sees nothing in files; the build without it does it, many times faster";
#else
  return nullptr;
#endif
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
