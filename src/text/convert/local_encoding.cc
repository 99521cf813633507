// UCS-2 to and from the encoding of the current locale, as the platform converts it.
//
// Promises: nothing is allocated, and nothing is written before the whole text is known to be valid and to fit. The
// platform's wide characters are 32 bits, so they pass through an array on the stack, one part of the text at a time;
// the conversion state goes on from part to part, and the bytes are those of a single conversion.

#include <climits>
#include <cstring>
#include <cwchar>
#include <limits>
#include <optional>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/convert.h"

namespace {

using qv::Status;

constexpr size_t kPart = 256;  // wide characters converted at a time
constexpr size_t kFailed = static_cast<size_t>(-1);

/// Converts into `room` units at `buffer`, or only counts when that is null. The units of the text without its
/// terminator; nothing when the text is invalid or, since somebody else changed the locale after it was counted, no
/// longer fits.
std::optional<uint64_t> toUnicode(SMChar16 *buffer, uint64_t room, const char *text)
{
  mbstate_t state = {};
  uint64_t count = 0;
  while (text != nullptr) {
    wchar_t part[kPart];
    // NOLINTNEXTLINE(concurrency-mt-unsafe): its state is the argument
    const size_t converted = mbsrtowcs(part, &text, kPart, &state);
    if (converted == kFailed) {
      return std::nullopt;
    }
    if (buffer != nullptr) {
      if (converted > room - count) {
        return std::nullopt;
      }
      for (size_t i = 0; i < converted; ++i) {
        buffer[count + i] = static_cast<SMChar16>(part[i]);
      }
    }
    count += converted;
  }
  return count;
}

/// The same from UCS-2, in bytes. Text that gives no byte counts as invalid unless it is empty.
std::optional<uint64_t> toLocal(char *buffer, uint64_t room, const SMChar16 *text)
{
  const bool empty = *text == 0;
  mbstate_t state = {};
  uint64_t count = 0;
  for (bool ended = false; !ended;) {
    wchar_t part[kPart];
    size_t taken = 0;
    while (taken < kPart && !ended) {
      part[taken++] = *text;
      ended = *text++ == 0;
    }
    char bytes[kPart * MB_LEN_MAX];
    const wchar_t *at = part;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): its state is the argument
    const size_t converted = wcsnrtombs(bytes, &at, taken, sizeof(bytes), &state);
    if (converted == kFailed) {
      return std::nullopt;
    }
    if (buffer != nullptr) {
      if (converted > room - count) {
        return std::nullopt;
      }
      memcpy(buffer + count, bytes, converted);
    }
    count += converted;
  }
  return count == 0 && !empty ? std::nullopt : std::optional(count);
}

/// Runs one of the two: measures the text, then writes it and its terminator.
template <class Unit, class From>
Status convertByLocale(std::optional<uint64_t> (*conversion)(Unit *, uint64_t, const From *), Unit *buffer,
                       uint32_t *size, const From *text)
{
  if (text == nullptr || size == nullptr) {
    return Status::invalidParameter;
  }
  const std::optional<uint64_t> length = conversion(nullptr, 0, text);
  if (!length) {
    return Status::unsuccessful;
  }
  const uint64_t needed = (*length + 1) * sizeof(Unit);
  if (needed > std::numeric_limits<uint32_t>::max()) {
    return Status::bufferTooSmall;
  }
  const bool query = buffer == nullptr || *size == 0;
  const bool fits = *size >= needed;
  if (!query && fits) {
    const std::optional<uint64_t> written = conversion(buffer, *length, text);
    if (!written) {
      return Status::unsuccessful;
    }
    buffer[*written] = 0;
  }
  *size = static_cast<uint32_t>(needed);
  return query || fits ? Status::success : Status::bufferTooSmall;
}

}  // namespace

uint32_t LocalToUnicode(SMChar16 *buffer, uint32_t *size, const char *text)
{
  return qv::result(convertByLocale(toUnicode, buffer, size, text));
}

uint32_t UnicodeToLocal(char *buffer, uint32_t *size, const SMChar16 *text)
{
  return qv::result(convertByLocale(toLocal, buffer, size, text));
}

QV_ALIAS(ASCIIToUnicode, LocalToUnicode)
QV_ALIAS(UnicodeToASCII, UnicodeToLocal)
