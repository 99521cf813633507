// Hexadecimal dumps. One line builder serves all three; they differ in where the lines go.

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>

#include "base/alias.h"
#include "base/heap.h"
#include "base/status.h"
#include "base/text.h"
#include "text/convert/dynamic_string.h"

namespace {

using qv::Status;

constexpr uint32_t kInitialSize = 2048;
constexpr size_t kBytesPerLine = 16;
constexpr size_t kLineLength = 82;
constexpr size_t kHexColumn = 12;
constexpr size_t kTextColumn = 63;

using ByteDigits = std::array<std::array<char, 2>, 256>;

constexpr ByteDigits makeByteDigits()
{
  ByteDigits digits{};
  for (size_t byte = 0; byte < digits.size(); ++byte) {
    digits[byte] = {qv::kUpperHexDigits[byte >> 4], qv::kUpperHexDigits[byte & 0xF]};
  }
  return digits;
}

/// The two digits of every byte.
constexpr ByteDigits kByteDigits = makeByteDigits();

void putByte(uint32_t byte, char *out)
{
  memcpy(out, kByteDigits[byte & 0xFF].data(), 2);
}

using DumpLine = std::array<char, kLineLength>;

constexpr DumpLine makeEmptyLine()
{
  DumpLine line{};
  line.fill(' ');
  line[0] = '0';
  line[1] = 'x';
  line[10] = ':';
  line[kLineLength - 2] = '\r';
  line[kLineLength - 1] = '\n';
  return line;
}

/// A line without its bytes.
constexpr DumpLine kEmptyLine = makeEmptyLine();

/// Writes one line of kLineLength characters for at most kBytesPerLine bytes.
void buildLine(std::span<const uint8_t> bytes, uint32_t offset, char *line)
{
  memcpy(line, kEmptyLine.data(), kLineLength);
  for (int shift = 24; shift >= 0; shift -= 8) {
    putByte(offset >> shift, line + 8 - shift / 4);
  }
  for (size_t i = 0; i < bytes.size(); ++i) {
    putByte(bytes[i], line + kHexColumn + 3 * i);
    line[kTextColumn + i] = bytes[i] >= 32 && bytes[i] <= 122 ? static_cast<char>(bytes[i]) : '.';
  }
  for (size_t i = 4; i < bytes.size(); i += 4) {
    line[kHexColumn + 3 * i - 1] = ':';
  }
}

/// Calls `line(bytes, offset)` for every line of the dump, the offset counting from baseOffset, until it returns false.
/// False when it did.
template <class Line>
[[nodiscard]] bool forEachLine(const void *bytes, size_t count, uint32_t baseOffset, Line line)
{
  std::span left(static_cast<const uint8_t *>(bytes), bytes == nullptr ? 0 : count);
  for (uint32_t offset = baseOffset; !left.empty(); offset += kBytesPerLine) {
    const auto block = left.first(std::min(left.size(), kBytesPerLine));
    if (!line(block, offset)) {
      return false;
    }
    left = left.subspan(block.size());
  }
  return true;
}

}  // namespace

uint32_t BufToSSUTF8Str(SSUTF8Str *record, const void *bytes, uint32_t count, uint32_t baseOffset)
{
  const bool appended = forEachLine(bytes, count, baseOffset, [=](std::span<const uint8_t> block, uint32_t offset) {
    char *line = record == nullptr ? nullptr : qv::text::makeRoom(*record, kLineLength);
    if (line == nullptr) {
      return false;
    }
    buildLine(block, offset, line);
    qv::text::addWritten(*record, kLineLength);
    return true;
  });
  return qv::result(appended ? Status::success : Status::unsuccessful);
}

char *BufToUTF8Str(const void *bytes, uint32_t *count, uint32_t baseOffset)
{
  if (count == nullptr) {
    return nullptr;
  }
  const uint64_t lines = bytes == nullptr ? 0 : (uint64_t{*count} + kBytesPerLine - 1) / kBytesPerLine;
  const uint64_t size = lines * kLineLength + 1;
  if (size > std::numeric_limits<uint32_t>::max()) {
    return nullptr;
  }
  qv::HeapBlock<char> dump(static_cast<char *>(malloc(static_cast<size_t>(size))));
  if (!dump) {
    return nullptr;
  }
  char *line = dump.get();
  (void)forEachLine(bytes, *count, baseOffset, [&line](std::span<const uint8_t> block, uint32_t offset) {
    buildLine(block, offset, line);
    line += kLineLength;
    return true;
  });  // every line has its room
  *line = 0;
  *count = static_cast<uint32_t>(size);
  return dump.release();
}

uint32_t BufToUCS2Str(SSUCS2Str *record, const void *bytes, uint32_t count, uint32_t baseOffset)
{
  qv::text::WorkString dump(kInitialSize);
  if (!dump) {
    return qv::result(Status::noMemory);
  }
  if (const uint32_t status = BufToSSUTF8Str(&dump.record, bytes, count, baseOffset); status != SM_STATUS_SUCCESS) {
    return status;
  }
  const SMChar16 *appended = SSUCS2StrCatUTF8Str(record, dump.record.pStr);
  return qv::result(appended == nullptr ? Status::unsuccessful : Status::success);
}

QV_ALIAS(SMBufToUCS2Str, BufToUCS2Str)
