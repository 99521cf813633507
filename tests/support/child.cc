#include "support/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace support {
namespace {

ssize_t readByte(int descriptor, char &byte)
{
  ssize_t got;
  do {
    got = read(descriptor, &byte, 1);
  } while (got < 0 && errno == EINTR);
  return got;
}

void writeAll(int descriptor, const std::string &text)
{
  for (size_t done = 0; done < text.size();) {
    const ssize_t wrote = write(descriptor, text.data() + done, text.size() - done);
    if (wrote < 0) {
      if (errno == EINTR) {
        continue;
      }
      _exit(99);
    }
    done += static_cast<size_t>(wrote);
  }
}

}  // namespace

void Child::Inside::hold()
{
  writeAll(toParent_, std::string(1, kHeld));
  char byte;
  if (readByte(fromParent_, byte) != 1) {
    _exit(98);
  }
}

void Child::Inside::report(const char *format, ...)
{
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  writeAll(toParent_, std::string(line) + "\n");
}

void Child::Inside::report(std::initializer_list<long long> numbers)
{
  std::string line;
  for (const long long number : numbers) {
    line += (line.empty() ? "" : " ") + std::to_string(number);
  }
  writeAll(toParent_, line + "\n");
}

void Child::Inside::become(std::vector<std::string> command)
{
  std::vector<char *> words;
  for (std::string &word : command) {
    words.push_back(word.data());
  }
  words.push_back(nullptr);
  dup2(fromParent_, STDIN_FILENO);
  dup2(toParent_, STDOUT_FILENO);
  execv(words[0], words.data());
  _exit(127);
}

Child::Child(const std::function<void(Inside &)> &code)
{
  int up[2];
  int down[2];
  if (pipe2(up, O_CLOEXEC) != 0 || pipe2(down, O_CLOEXEC) != 0) {
    abort();
  }
  fflush(nullptr);
  pid_ = fork();
  if (pid_ < 0) {
    abort();
  }
  if (pid_ == 0) {
    close(up[0]);
    close(down[1]);
    Inside inside;
    inside.toParent_ = up[1];
    inside.fromParent_ = down[0];
    code(inside);
    _exit(0);
  }
  close(up[1]);
  close(down[0]);
  fromChild_ = up[0];
  toChild_ = down[1];
}

Child::~Child()
{
  if (status_ == -1) {
    kill(pid_, SIGKILL);
    (void)wait();
  }
  close(fromChild_);
  close(toChild_);
}

bool Child::waitHeld()
{
  char byte;
  while (readByte(fromChild_, byte) == 1) {
    if (byte == Inside::kHeld) {
      return true;
    }
    reported_ += byte;
  }
  return false;
}

void Child::release()
{
  const char byte = '\0';
  if (write(toChild_, &byte, 1) != 1) {
    abort();
  }
}

void Child::signal(int number) const
{
  kill(pid_, number);
}

int Child::wait()
{
  if (status_ == -1) {
    char byte;
    while (readByte(fromChild_, byte) == 1) {
      reported_ += byte;
    }
    int status;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return status_;
}

std::string Child::report()
{
  if (wait() != 0) {
    return reported_ + "ended with status " + std::to_string(status_) + "\n";
  }
  return reported_;
}

}  // namespace support
