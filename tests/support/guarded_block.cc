#include "support/guarded_block.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace support {

GuardedBlock::GuardedBlock(size_t size) : size_(size)
{
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t readable = (size / page + 1) * page;
  mappingSize_ = readable + page;
  void *mapping = mmap(nullptr, mappingSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED || mprotect(static_cast<uint8_t *>(mapping) + readable, page, PROT_NONE) != 0) {
    abort();
  }
  mapping_ = static_cast<uint8_t *>(mapping);
  data_ = mapping_ + readable - size;
}

GuardedBlock::GuardedBlock(const std::vector<uint8_t> &bytes) : GuardedBlock(bytes.size())
{
  std::copy(bytes.begin(), bytes.end(), data_);
}

GuardedBlock::~GuardedBlock()
{
  munmap(mapping_, mappingSize_);
}

}  // namespace support
