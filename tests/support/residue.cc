#include "support/residue.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace support {

std::string openDescriptors()
{
  DIR *directory = opendir("/proc/self/fd");
  if (directory == nullptr) {
    return "no /proc";
  }
  const std::string own = std::to_string(dirfd(directory));
  std::set<std::string> lines;
  while (const dirent *entry = readdir(directory)) {
    if (entry->d_name[0] == '.' || entry->d_name == own) {
      continue;
    }
    char target[4096];
    const ssize_t length = readlink((std::string("/proc/self/fd/") + entry->d_name).c_str(), target, sizeof(target));
    lines.insert(std::string(entry->d_name) + " " + std::string(target, static_cast<size_t>(length < 0 ? 0 : length)));
  }
  closedir(directory);
  std::string text;
  for (const std::string &line : lines) {
    text += line + "\n";
  }
  return text;
}

std::string inheritableDescriptors()
{
  std::istringstream all(openDescriptors());
  std::string inheritable;
  for (std::string line; std::getline(all, line);) {
    const int flags = fcntl(std::stoi(line), F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
      inheritable += line + "\n";
    }
  }
  return inheritable;
}

std::string systemVObjects()
{
  std::ostringstream text;
  for (const char *kind : {"sem", "shm"}) {
    std::ifstream table(std::string("/proc/sysvipc/") + kind);
    std::string line;
    std::getline(table, line);  // the heading
    while (std::getline(table, line)) {
      std::istringstream fields(line);
      std::string key;
      std::string id;
      fields >> key >> id;
      text << kind << " key " << key << " id " << id << "\n";
    }
  }
  return text.str();
}

void ResidueCheck::OnTestStart(const testing::TestInfo &)
{
  descriptors_ = openDescriptors();
  objects_ = systemVObjects();
}

void ResidueCheck::OnTestEnd(const testing::TestInfo &)
{
  EXPECT_EQ(descriptors_, openDescriptors()) << "the case leaves descriptors behind, or closed some";
  EXPECT_EQ(objects_, systemVObjects()) << "the case leaves System V objects behind";
}

}  // namespace support
