// Growing a dynamic string from inside: memory is reserved first, then the text is written straight into the buffer.
#pragma once

#include <cstddef>

#include "qvsupt32/convert.h"

namespace qv::text {

/// Reserves memory after the text for `length` more bytes and a terminator, and returns where they go. Null when the record
/// has no text or cannot grow; it is unchanged then.
[[nodiscard]] char *makeRoom(SSUTF8Str &record, size_t length);

/// Counts units that were written where there was room for them as text, and terminates it.
template <class Record>
void addWritten(Record &record, size_t length)
{
  record.strLen += static_cast<uint32_t>(length);
  record.pStr[record.strLen] = 0;
}

/// A dynamic string of the library's own, freed by scope. False when its buffer could not be allocated.
class WorkString {
 public:
  explicit WorkString(uint32_t initialSize)
  {
    (void)SSUTF8StrAlloc(&record, initialSize);
  }  // operator bool reports a failure
  ~WorkString() { SSUTF8StrFree(&record); }
  WorkString(const WorkString &) = delete;
  WorkString &operator=(const WorkString &) = delete;

  explicit operator bool() const { return record.pStr != nullptr; }

  SSUTF8Str record = {};
};

}  // namespace qv::text
