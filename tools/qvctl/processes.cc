// See processes.h.

#include "processes.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace qvctl {
namespace {

namespace fs = std::filesystem;

std::string procPath(pid_t process, const char *name)
{
  return "/proc/" + std::to_string(process) + "/" + name;
}

std::string readAll(const std::string &path)
{
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::string commandLineOf(pid_t process)
{
  std::string line = readAll(procPath(process, "cmdline"));
  if (!line.empty()) {
    line.erase(line.find_last_not_of('\0') + 1);
    std::replace(line.begin(), line.end(), '\0', ' ');
    return line;
  }
  std::string name = readAll(procPath(process, "comm"));
  name.erase(name.find_last_not_of('\n') + 1);
  return name.empty() ? name : "[" + name + "]";
}

std::optional<time_t> startOf(pid_t process)
{
  // The name, in parentheses, may hold anything; the start is the 20th field after it, in ticks since the boot.
  const std::string status = readAll(procPath(process, "stat"));
  const size_t name = status.rfind(')');
  long long ticks = 0;
  if (name == std::string::npos ||
      sscanf(status.c_str() + name + 1,
             " %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %lld", &ticks) != 1) {
    return std::nullopt;
  }
  struct timespec now;
  struct timespec sinceBoot;
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) {
    return std::nullopt;
  }
  return now.tv_sec - sinceBoot.tv_sec + static_cast<time_t>(ticks / sysconf(_SC_CLK_TCK));
}

bool isAlive(pid_t process)
{
  return process > 0 && (kill(process, 0) == 0 || errno != ESRCH);
}

std::vector<pid_t> openersOf(dev_t device, ino_t inode)
{
  std::vector<pid_t> openers;
  std::error_code ignored;  // processes end and hide while they are looked at
  for (fs::directory_iterator process("/proc", ignored), end; process != end; process.increment(ignored)) {
    const std::string name = process->path().filename();
    pid_t number = 0;
    const auto [last, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error != std::errc{} || *last != '\0' || number == getpid()) {
      continue;
    }
    for (fs::directory_iterator file(process->path() / "fd", ignored), none; file != none; file.increment(ignored)) {
      struct stat status;
      if (stat(file->path().c_str(), &status) == 0 && status.st_dev == device && status.st_ino == inode) {
        openers.push_back(number);
        break;
      }
    }
  }
  std::sort(openers.begin(), openers.end());
  return openers;
}

std::string localTime(time_t time)
{
  struct tm parts;
  char text[64];
  return localtime_r(&time, &parts) != nullptr && strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts) != 0
             ? text
             : std::to_string(time);
}

}  // namespace qvctl
