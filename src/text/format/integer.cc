// Integer fields: digits in the radix of the conversion, with a sign or a prefix in front.

#include "text/format/integer.h"

#include <algorithm>
#include <charconv>

namespace qv::format {
namespace {

/// Room for the digits of a pointer in octal.
constexpr size_t kIntegerDigitsMax = (sizeof(uintptr_t) * 8 + 2) / 3 + 1;

/// Writes digits from the end backwards. Returns the first; 0 is one digit.
char *writeByBits(char *end, uintptr_t value, unsigned bitsPerDigit, const char *digits)
{
  do {
    *--end = digits[value & ((1U << bitsPerDigit) - 1)];
    value >>= bitsPerDigit;
  } while (value != 0);
  return end;
}

void emitInteger(Sink &sink, Directive &directive, uintptr_t value, Radix radix, std::string_view lead)
{
  char digits[kIntegerDigitsMax];
  char *end = digits + sizeof(digits);
  char *first = end;
  if (directive.precision >= 0) {
    directive.flags &= static_cast<uint8_t>(~kZeroPad);
  }
  if (value != 0 || directive.precision != 0) {
    if (radix == Radix::decimal) {
      first = digits;
      end = std::to_chars(digits, end, static_cast<uint32_t>(value)).ptr;
    } else {
      first = writeByBits(end, value, static_cast<unsigned>(radix),
                          directive.conversion == 'X' ? kUpperHexDigits : kLowerHexDigits);
    }
    if (radix == Radix::octal && directive.has(kAlternate) && *first != '0') {
      *--first = '0';
    }
  }
  emit(sink, directive,
       {.lead = lead,
        .precision = static_cast<size_t>(std::max(directive.precision, 0)),
        .text = {first, static_cast<size_t>(end - first)}});
}

}  // namespace

void emitSigned(Sink &sink, Directive &directive, int32_t argument)
{
  const int32_t value = directive.isShort() ? static_cast<int16_t>(argument) : argument;
  uint32_t magnitude = static_cast<uint32_t>(value);
  if (value < 0) {
    directive.sign = '-';
    magnitude = 0 - magnitude;
  }
  emitInteger(sink, directive, magnitude, Radix::decimal, signOf(directive));
}

void emitUnsigned(Sink &sink, Directive &directive, uint32_t argument, Radix radix)
{
  const uint32_t value = directive.isShort() ? static_cast<uint16_t>(argument) : argument;
  std::string_view prefix = "";
  if (radix == Radix::hexadecimal && directive.has(kAlternate) && value != 0) {
    prefix = directive.conversion == 'X' ? "0X" : "0x";
  }
  emitInteger(sink, directive, value, radix, prefix);
}

void emitPointer(Sink &sink, Directive &directive, const void *argument)
{
  emitInteger(sink, directive, reinterpret_cast<uintptr_t>(argument), Radix::hexadecimal, "0x");
}

}  // namespace qv::format
