// Owner of a block of the process heap. What callers free with SMFreeMem comes from malloc, and so does everything
// else.
#pragma once

#include <cstdlib>
#include <memory>

namespace qv {

struct FreeBlock {
  void operator()(void *block) const { free(block); }
};

/// A block that is freed by scope. release() hands it to somebody else.
template <class T>
using HeapBlock = std::unique_ptr<T, FreeBlock>;

}  // namespace qv
