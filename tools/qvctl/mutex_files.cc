// See mutex_files.h.

#include "mutex_files.h"

#include <algorithm>
#include <filesystem>

namespace qvctl {

std::string mutexPath(const std::string &name)
{
  return name.find('/') == std::string::npos ? std::string(kMutexDirectory) + "/." + name : "";
}

bool isLockFileName(const std::string &name)
{
  return name == "velaipc" || name == "sharedipc";
}

std::vector<std::string> mutexNames()
{
  namespace fs = std::filesystem;
  std::vector<std::string> names;
  std::error_code ignored;  // a directory that is missing or closed to this user has no mutexes for it
  for (fs::directory_iterator file(kMutexDirectory, ignored), end; file != end; file.increment(ignored)) {
    const std::string name = file->path().filename();
    if (name[0] == '.' && !isLockFileName(name.substr(1)) &&
        file->symlink_status(ignored).type() == fs::file_type::regular && file->file_size(ignored) == 0) {
      names.push_back(name.substr(1));
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace qvctl
