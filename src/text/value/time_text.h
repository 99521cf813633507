// Times as text, for times of 64 bits.
#pragma once

#include <cstdint>

namespace qv::text {

constexpr uint32_t kTimeRoom = 26;  // of what ctime(3) writes, with its terminator

/// Writes a local time as ctime(3) does, without the line feed, into kTimeRoom bytes. False when it has no such form.
[[nodiscard]] bool formTime(int64_t seconds, char *buffer);

}  // namespace qv::text
