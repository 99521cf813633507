// The `lock` commands: who holds the file lock and the named mutexes, and running another program with the file lock
// held.

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "command_line.h"
#include "json.h"
#include "lock_table.h"
#include "mutex_files.h"
#include "processes.h"

namespace qvctl {
namespace {

struct Holder {
  std::string lock;  // "file lock" or "mutex NAME"
  std::string path;
  LockEntry entry;
};

Json toJson(const Holder &holder)
{
  Json object = {{"lock", holder.lock},
                 {"path", holder.path},
                 {"state", holder.entry.waiting ? "waiting" : "held"},
                 {"pid", holder.entry.process}};
  if (const std::string command = commandLineOf(holder.entry.process); !command.empty()) {
    object["command"] = command;
  }
  if (const std::optional<time_t> start = startOf(holder.entry.process)) {
    object["since"] = localTime(*start);
  }
  return object;
}

std::string toText(const Holder &holder)
{
  const pid_t process = holder.entry.process;
  const std::string command = commandLineOf(process);
  const std::optional<time_t> start = startOf(process);
  std::string line = holder.lock + (holder.entry.waiting ? ": wanted by " : ": held by ") + std::to_string(process);
  if (start) {
    line += " since " + localTime(*start);
  }
  return line + ": " + (command.empty() ? "of another namespace or user" : command);
}

void addHolders(std::vector<Holder> &holders, const std::string &lock, const std::string &path, bool record)
{
  struct stat file;
  if (lstat(path.c_str(), &file) != 0) {
    return;  // what does not exist is held by nobody
  }
  const auto byte = static_cast<uint64_t>(fileLockRecord());
  for (const LockEntry &entry : locksOn(path, file)) {
    if (entry.record == record && (!record || (entry.first <= byte && byte <= entry.last))) {
      holders.push_back({lock, path, entry});
    }
  }
}

Exit status(Context &context)
{
  std::vector<Holder> holders;
  addHolders(holders, "file lock", lockFilePath(), true);
  for (const std::string &name : mutexNames()) {
    addHolders(holders, "mutex " + name, mutexPath(name), false);
  }
  if (context.json) {
    Json all = Json::array();
    for (const Holder &holder : holders) {
      all.push_back(toJson(holder));
    }
    printJson(context.output, all);
    return Exit::done;
  }
  for (const Holder &holder : holders) {
    context.output.line(showControls(toText(holder)));
  }
  return Exit::done;
}

/// Signals that ask a command to do something; the command gets those that were meant for it.
constexpr int kForwarded[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGWINCH, SIGCONT};

constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;
constexpr int kSignalled = 128;

[[noreturn]] void runCommand(std::vector<std::string> &words, const sigset_t &mask)
{
  std::vector<char *> arguments;
  for (std::string &word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  signal(SIGPIPE, SIG_DFL);
  sigprocmask(SIG_SETMASK, &mask, nullptr);
  execvp(arguments[0], arguments.data());
  const int error = errno;
  complain(words[0] + ": " + strerror(error));
  _exit(error == ENOENT ? kNotFound : kNotExecutable);
}

/// Waits for the command to end, and hands it the signals that come meanwhile. A terminal's own signals reach the
/// command without help, since it is in the same process group.
int waitForCommand(pid_t command, const sigset_t &signals)
{
  for (;;) {
    siginfo_t info;
    const int number = sigwaitinfo(&signals, &info);
    if (number < 0) {
      continue;  // a stop and its end
    }
    if (number != SIGCHLD) {
      if (info.si_code <= 0) {
        (void)kill(command, number);  // it may have ended just now
      }
      continue;
    }
    int result = 0;
    if (waitpid(command, &result, WNOHANG) == command) {
      return WIFSIGNALED(result) ? kSignalled + WTERMSIG(result) : WEXITSTATUS(result);
    }
  }
}

Exit run(Context &context, std::vector<std::string> &words)
{
  if (words.empty()) {
    throw usageFailure("a command to run is missing");
  }
  const Hold hold(context, lockFilePath());
  sigset_t signals;
  sigset_t before;
  sigemptyset(&signals);
  for (const int number : kForwarded) {
    sigaddset(&signals, number);
  }
  sigaddset(&signals, SIGCHLD);
  signal(SIGCHLD, SIG_DFL);  // where it is ignored, there would be no status to wait for
  sigprocmask(SIG_BLOCK, &signals, &before);
  const pid_t command = fork();
  if (command < 0) {
    throw systemFailure(words[0], errno);
  }
  if (command == 0) {
    runCommand(words, before);
  }
  return static_cast<Exit>(waitForCommand(command, signals));
}

}  // namespace

void addLockCommands(CommandLine &commands, Context &context)
{
  commands.group("lock", "The file lock and the named mutexes");
  commands
      .command("lock status", "Print who holds the file lock and named mutexes, or waits for them", "qvctl lock status")
      .run([&context] { return status(context); });
  const auto words = std::make_shared<std::vector<std::string>>();
  commands.passRest("lock run", *words);
  commands
      .command("lock run", "Run a command that does not load the library with the file lock held",
               "qvctl lock run --wait 5 -- cp -a /etc/tallowmere/vela/ini /root/backup")
      .rest("COMMAND", "The command and its arguments, after '--' where the first begins with '-'")
      .waits()
      .run([&context, words] { return run(context, *words); });
}

}  // namespace qvctl
