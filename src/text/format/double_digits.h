// The digits of a double: those of its exact value, rounded half to even, whatever the rounding mode and the locale.
#pragma once

#include <cstddef>

namespace qv::text {

/// The exact decimal form of a double has at most so many digits before the point, after it, and in all but the zeros at
/// both ends. Every further one is a zero.
constexpr int kIntegralDigitsMax = 309;
constexpr int kFractionDigitsMax = 1074;
constexpr int kSignificantDigitsMax = 767;

/// Writes a finite value of no sign with up to kFractionDigitsMax decimals, with a point if there is any. Returns the
/// end; there is no terminator. At most kIntegralDigitsMax + 1 + decimals bytes.
char *writeFixed(char *out, double magnitude, int decimals);

/// Writes the first digits of a finite value of no sign, up to kSignificantDigitsMax, in a row. Returns the decimal
/// exponent of the first one. All are zeros for the value 0, whose exponent is 0.
int writeSignificant(char *out, double magnitude, int count);

}  // namespace qv::text
