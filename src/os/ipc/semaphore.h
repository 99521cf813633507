// What the objects that are made of semaphore sets need beside the exported calls.
#pragma once

#include <cstdint>

namespace qv {

constexpr int32_t kSemaphoreMax = 32767;

/// The count of a set, -1 when there is no such set.
int32_t semaphoreCount(int32_t id);

/// CreateSemaphore. `isNew` becomes false if the set existed before.
int32_t createSemaphore(int32_t key, int32_t initial, bool &isNew);

/// Gives back what this process took with WaitForSemaphoreUndo, and has the kernel forget the undo: it would add the
/// same 1 again when the process ends. Only if this process was the last one to change the count: a forked child has
/// the parent's handles, but neither its undo nor the 1.
void giveBackOwnUndo(int32_t id);

/// Adds to the count in one step of the kernel, without waiting. False when the sum would leave the range of counts.
bool addToSemaphore(int32_t id, int16_t change);

}  // namespace qv
