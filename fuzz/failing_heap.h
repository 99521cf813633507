// Lets the heap run out under a fuzz target: about half of the inputs run with all the memory they want, the others meet
// a failing allocation that their last byte chooses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// While it lives, the allocation that the last byte of the input chooses fails, once.
class FailingHeap {
 public:
  FailingHeap(const uint8_t *data, size_t size);
  ~FailingHeap();
  FailingHeap(const FailingHeap &) = delete;
  FailingHeap &operator=(const FailingHeap &) = delete;

  /// Whether an allocation was made to fail.
  bool struck() const;
};

}  // namespace fuzz
