// The in-out size convention: a caller passes the size of its buffer in bytes, and gets the size used or needed.
//
// Lengths are size_t inside and 32 bits in the interface; they meet here and nowhere else. A length that 32 bits cannot
// hold fits no buffer: it is reported as the largest size, and nothing is copied.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/status.h"

namespace qv {

/// A length as the interface's 32 bits hold it.
constexpr uint32_t clampSize(uint64_t length)
{
  return static_cast<uint32_t>(std::min<uint64_t>(length, UINT32_MAX));
}

/// Whether `needed` bytes fit into the caller's buffer. `size` becomes the size needed either way.
[[nodiscard]] constexpr bool exchangeSize(uint32_t &size, uint64_t needed)
{
  const bool fits = needed <= size;
  size = clampSize(needed);
  return fits;
}

/// Copies bytes into a caller's buffer that holds `size` bytes; a null buffer holds none.
inline Status copyOut(const void *bytes, size_t length, void *buffer, uint32_t &size)
{
  if (!exchangeSize(size, length) || (buffer == nullptr && length != 0)) {
    return Status::bufferTooSmall;
  }
  if (length != 0) {
    memcpy(buffer, bytes, length);
  }
  return Status::success;
}

/// Copies a text with its terminator.
inline Status copyTextOut(const char *text, char *buffer, uint32_t &size)
{
  return copyOut(text, strlen(text) + 1, buffer, size);
}

}  // namespace qv
