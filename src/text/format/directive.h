// Directives: what each of their characters means, and the arguments that they take.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "text/format/field.h"

namespace qv::format {

/// What a character of a directive does: go on reading, or end the directive. What most characters do is zero, since
/// GCC 12 fills the gaps of a constant table with zeros, whatever the default of its elements is.
enum class Action : uint8_t {
  itself,

  flag,
  space,
  plus,
  width,
  widthArgument,
  precision,

  endOfFormat,
  character,
  signedInteger,
  unsignedInteger,
  pointer,
  fixed,
  exponential,
  general,
  text,
  ucs2Text,
  count,
};

/// The radix of an unsigned conversion as bits a digit, 0 for decimal.
enum class Radix : uint8_t { decimal = 0, octal = 3, hexadecimal = 4 };

struct Rule {
  Action action = Action::itself;
  uint8_t flags = 0;
  Radix radix = Radix::decimal;
};

/// The arguments not read yet. A class of its own, because a va_list is an array on some machines and no reference to
/// it can be handed on.
class Arguments {
 public:
  // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): the owner starts the list.
  int32_t integer() { return va_arg(list, int); }
  double floating() { return va_arg(list, double); }
  template <class T>
  T *pointer()
  {
    return va_arg(list, T *);
  }
  // NOLINTEND(clang-analyzer-valist.Uninitialized)

  va_list list;
};

/// Reads a directive from the character after its percent sign to the end of its conversion; at the end of the format it
/// stops there. Returns what ends it.
const Rule &readDirective(const char *&format, Arguments &arguments, Directive &directive);

}  // namespace qv::format
