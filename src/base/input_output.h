// Whole reads and writes on a descriptor: calls that a signal interrupts are repeated, short ones continued.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace qv {

/// The result of a system call, repeated while a signal interrupts it. For calls that answer -1 with errno EINTR.
template <class Call>
auto uninterrupted(Call call)
{
  decltype(call()) answer;
  do {
    answer = call();
  } while (answer == -1 && errno == EINTR);
  return answer;
}

/// Reads up to `capacity` bytes from a place in the file, fewer only at its end. -1 when reading fails. The descriptor's
/// own place stays.
inline ssize_t readUpToAt(int descriptor, void *buffer, size_t capacity, off_t place)
{
  size_t held = 0;
  while (held < capacity) {
    const ssize_t got = uninterrupted([&] {
      return pread(descriptor, static_cast<char *>(buffer) + held, capacity - held, place + static_cast<off_t>(held));
    });
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    held += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(held);
}

/// Writes all bytes. False when a write fails or makes no progress; a part may be written then.
[[nodiscard]] inline bool writeAll(int descriptor, const void *bytes, size_t length)
{
  for (size_t done = 0; done < length;) {
    const ssize_t written =
        uninterrupted([&] { return write(descriptor, static_cast<const char *>(bytes) + done, length - done); });
    if (written <= 0) {
      return false;
    }
    done += static_cast<size_t>(written);
  }
  return true;
}

/// The same at a place in the file.
[[nodiscard]] inline bool writeAllAt(int descriptor, const void *bytes, size_t length, off_t place)
{
  for (size_t done = 0; done < length;) {
    const ssize_t written = uninterrupted([&] {
      return pwrite(descriptor, static_cast<const char *>(bytes) + done, length - done,
                    place + static_cast<off_t>(done));
    });
    if (written <= 0) {
      return false;
    }
    done += static_cast<size_t>(written);
  }
  return true;
}

}  // namespace qv
