// A directory in memory for the files of a case, and whole files at once.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace support {

/// Whether this is a 32-bit program on a machine that has to emulate it: long work is to be shorter then.
inline bool isEmulated()
{
  return getenv("QVSUPT32_EMULATED") != nullptr;
}

inline void put(const std::string &path, const std::string &content)
{
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string get(const std::string &path)
{
  if (!std::filesystem::exists(path)) {
    return "(missing)";
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class Scratch : public testing::Test {
 protected:
  Scratch() { std::filesystem::create_directory(directory); }
  ~Scratch() override { std::filesystem::remove_all(directory); }

  std::string path(const std::string &name) const { return directory + "/" + name; }

  const std::string directory = "/dev/shm/scratch";
};

}  // namespace support
