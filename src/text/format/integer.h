// Integer fields.
#pragma once

#include <cstdint>
#include <string_view>

#include "text/format/directive.h"

namespace qv::format {

void emitSigned(Sink &sink, Directive &directive, int32_t argument);
void emitUnsigned(Sink &sink, Directive &directive, uint32_t argument, Radix radix);
void emitPointer(Sink &sink, Directive &directive, const void *argument);

}  // namespace qv::format
