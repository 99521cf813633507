// Floating-point fields: fixed, exponential and general style.
#pragma once

#include "text/format/directive.h"

namespace qv::format {

void emitFloating(Sink &sink, Directive &directive, double value, Action style);

}  // namespace qv::format
