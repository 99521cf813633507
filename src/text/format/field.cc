// The layout of fields.

#include "text/format/field.h"

#include <algorithm>

namespace qv::format {

// On i386 no sum here passes 32 bits: a text comes alone, and everything else is at most a count of
// zeros below 2^31 + 1 with less than two thousand bytes around it.
void emit(Sink &sink, const Directive &directive, const Field &field)
{
  const size_t fieldSize = field.lead.size() + field.text.size() + field.zeros + field.tail.size() + field.unprinted;
  const size_t realSize = std::max(fieldSize, field.precision);
  const size_t padding = directive.width > realSize ? directive.width - realSize : 0;
  const bool left = directive.has(kLeftAdjust);
  const bool zeroPad = directive.has(kZeroPad);
  if (!left && !zeroPad) {
    sink.pad(kSpaces, padding);
  }
  sink.put(field.lead);
  if (!left && zeroPad) {
    sink.pad(kZeros, padding);
  }
  sink.pad(kZeros, realSize - fieldSize);
  sink.put(field.text);
  sink.pad(kZeros, field.zeros);
  sink.put(field.tail);
  sink.countUnprinted(field.unprinted);
  if (left) {
    sink.pad(kSpaces, padding);
  }
}

}  // namespace qv::format
