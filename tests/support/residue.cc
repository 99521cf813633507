#include "support/residue.h"

#include <fcntl.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace support {

std::string openDescriptors()
{
  std::set<std::string> lines;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(entry, error);
    if (!(target.starts_with("/proc/") && target.ends_with("/fd"))) {  // the iterator's own
      lines.insert(entry.path().filename().string() + " " + target);
    }
  }
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
