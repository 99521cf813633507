// See files.h.

#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qvctl {

int readFile(const std::string &path, std::string &content)
{
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  }
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (descriptor < 0) {
    return errno;
  }
  int error = 0;
  content.clear();
  size_t filled = 0;
  for (;;) {
    constexpr size_t kPiece = 64 * 1024;
    const auto expected = static_cast<size_t>(status.st_size) + 1;
    content.resize(expected > filled ? expected : filled + kPiece);
    const ssize_t got = read(descriptor, content.data() + filled, content.size() - filled);
    if (got > 0) {
      filled += static_cast<size_t>(got);
    } else if (got == 0) {
      break;
    } else if (errno != EINTR) {
      error = errno;
      break;
    }
  }
  content.resize(filled);
  close(descriptor);
  return error;
}

bool exists(const std::string &path)
{
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

std::string directoryOf(const std::string &path)
{
  const size_t slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "." : path.substr(0, slash);
}

}  // namespace qvctl
