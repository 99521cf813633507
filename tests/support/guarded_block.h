// A block of bytes that ends at an unreadable page: whoever reads or writes one byte past it is caught.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace support {

class GuardedBlock {
 public:
  explicit GuardedBlock(size_t size);
  explicit GuardedBlock(const std::vector<uint8_t> &bytes);
  ~GuardedBlock();
  GuardedBlock(const GuardedBlock &) = delete;
  GuardedBlock &operator=(const GuardedBlock &) = delete;

  uint8_t *data() { return data_; }
  size_t size() const { return size_; }
  std::vector<uint8_t> bytes() const { return {data_, data_ + size_}; }

 private:
  uint8_t *mapping_;
  size_t mappingSize_;
  uint8_t *data_;
  size_t size_;
};

}  // namespace support
