// A file that has a path and needs no directory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

class MemoryFile {
 public:
  explicit MemoryFile(const std::string &bytes) : descriptor_(memfd_create("fuzz", MFD_CLOEXEC))
  {
    if (descriptor_ < 0 || write(descriptor_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      abort();
    }
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  std::string content() const
  {
    std::string bytes(static_cast<size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    if (pread(descriptor_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
      abort();
    }
    return bytes;
  }

 private:
  int descriptor_;
};
