// The exported reader of one line. The lookup has its own way through a file, by the same rule of string_line.h.

#include "locale/resource/string_line.h"

#include <sys/types.h>

#include "qvsupt32/resource.h"

SMChar16 *qv_fgetws(SMChar16 *line, uint32_t capacity, FILE *file)
{
  const off_t start = ftello(file);
  if (start < 0) {
    return nullptr;
  }
  const size_t count = fread(line, sizeof(SMChar16), capacity, file);
  if (count == 0) {
    (void)fseeko(file, start, SEEK_SET);  // half a unit may have been read; null is the answer either way
  }
  if (count < 2) {
    return nullptr;
  }
  const size_t length = qv::locale::lineLength(line, count, capacity);
  line[length] = 0;
  const bool moved = fseeko(file, start + static_cast<off_t>(length * sizeof(SMChar16)), SEEK_SET) == 0;
  return moved ? line : nullptr;
}
