// A directive as it was read, and the one layout that all fields have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/format/sink.h"

namespace qv::format {

constexpr uint8_t kAlternate = 1;
constexpr uint8_t kLeftAdjust = 2;
constexpr uint8_t kLong = 4;
constexpr uint8_t kShort = 8;
constexpr uint8_t kZeroPad = 16;

constexpr int32_t kNoPrecision = -1;
constexpr int32_t kDefaultDecimals = 6;

/// A directive as it was read.
struct Directive {
  char conversion = '\0';
  char sign = '\0';  // none
  uint8_t flags = 0;
  uint32_t width = 0;
  int32_t precision = kNoPrecision;

  bool has(uint8_t flag) const { return (flags & flag) != 0; }
  bool isShort() const { return has(kShort) && !has(kLong); }
};

/// What a directive prints: the lead, zeros up to the integer precision, the text, zeros that were not built, the tail.
struct Field {
  std::string_view lead = "";  // sign or prefix
  size_t precision = 0;        // of an integer; the lead counts against it
  std::string_view text = "";
  size_t zeros = 0;
  std::string_view tail = "";
  size_t unprinted = 0;  // bytes that count in the size alone
};

/// The sign as a lead; a conversion without a sign leaves it out.
inline std::string_view signOf(const Directive &directive)
{
  return {&directive.sign, directive.sign == '\0' ? size_t{0} : size_t{1}};
}

/// Prints a field: padding and zeros where the directive wants them.
void emit(Sink &sink, const Directive &directive, const Field &field);

}  // namespace qv::format
