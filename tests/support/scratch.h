// A directory for the files of a case, in memory unless it has to be another, and whole files at once.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
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

/// "(missing)" for what is no file.
inline std::string get(const std::string &path)
{
  std::error_code error;
  const auto size = static_cast<size_t>(std::filesystem::file_size(path, error));
  if (error) {
    return "(missing)";
  }
  std::string content(size, '\0');
  std::ifstream(path, std::ios::binary).read(content.data(), static_cast<std::streamsize>(size));
  return content;
}

class Scratch : public testing::Test {
 protected:
  explicit Scratch(std::string where = "/dev/shm/scratch") : directory(std::move(where))
  {
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
  }
  ~Scratch() override { std::filesystem::remove_all(directory); }

  std::string path(const std::string &name) const { return directory + "/" + name; }

  const std::string directory;
};

}  // namespace support
