// What the objects built on semaphore sets need beside the exported calls.
#pragma once

#include <cstdint>

namespace qv {

constexpr int32_t kSemaphoreMax = 32767;

/// The count of a set, -1 when there is no such set.
int32_t semaphoreCount(int32_t id);

/// Adds to the count in one step of the kernel, without waiting. False when the sum would leave the range of counts.
bool addToSemaphore(int32_t id, int16_t change);

}  // namespace qv
