// UCS-2 text as printable 8-bit text.

#include <algorithm>
#include <array>
#include <cstring>

#include "base/alias.h"
#include "base/status.h"
#include "base/text.h"
#include "text/convert/dynamic_string.h"

namespace {

using qv::Status;

constexpr uint32_t kInitialSize = 6144;
constexpr size_t kLongest = 6;  // "\u00e9"

/// Writes the escaped form of a unit, at most kLongest bytes. Returns its end.
char *escapeUnit(SMChar16 unit, char *out)
{
  const auto escapeLetter = [out](char letter) {
    out[0] = '\\';
    out[1] = letter;
    return out + 2;
  };
  switch (unit) {
    case u'\t':
      return escapeLetter('t');
    case u'\n':
      return escapeLetter('n');
    case u'\r':
      return escapeLetter('r');
    case u'\\':
      return escapeLetter('\\');
    default:
      break;
  }
  if (unit >= 32 && unit <= 127) {
    *out = static_cast<char>(unit);
    return out + 1;
  }
  char *at = escapeLetter('u');
  for (int shift = 12; shift >= 0; shift -= 4) {
    *at++ = qv::kLowerHexDigits[unit >> shift & 0xF];
  }
  return at;
}

/// Appends the escaped text. False when the string cannot grow.
[[nodiscard]] bool escape(SSUTF8Str &escaped, const SMChar16 *text)
{
  for (; *text != 0; ++text) {
    char *const start = qv::text::makeRoom(escaped, kLongest);
    if (start == nullptr) {
      return false;
    }
    qv::text::addWritten(escaped, static_cast<size_t>(escapeUnit(*text, start) - start));
  }
  return true;
}

}  // namespace

uint32_t UCS2ToEscape(char *buffer, uint32_t *size, const SMChar16 *text)
{
  if (text == nullptr) {
    return qv::result(Status::badArgument);
  }
  qv::text::WorkString escaped(kInitialSize);
  if (!escaped || !escape(escaped.record, text)) {
    return qv::result(Status::unsuccessful);
  }
  const uint32_t needed = escaped.record.strLen + 1;
  if (size != nullptr) {
    const bool fits = *size >= needed;
    *size = needed;
    if (!fits) {
      return qv::result(Status::bufferTooSmall);
    }
  }
  if (buffer != nullptr) {
    memcpy(buffer, escaped.record.pStr, needed);
  }
  return qv::result(Status::success);
}

QV_ALIAS(SMUCS2ToEscape, UCS2ToEscape)
