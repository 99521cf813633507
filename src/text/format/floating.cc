// Floating-point fields. Their digits are those of double_digits.h; here they get a point, an exponent and a style.

#include "text/format/floating.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "text/format/double_digits.h"

namespace qv::format {
namespace {

/// Room for the longest text that is built, which is one in fixed style.
constexpr size_t kFloatingTextMax = qv::text::kIntegralDigitsMax + 1 + qv::text::kFractionDigitsMax;

void emitFixed(Sink &sink, const Directive &directive, double magnitude)
{
  const int32_t precision = directive.precision < 0 ? kDefaultDecimals : directive.precision;
  const int built = std::min(precision, qv::text::kFractionDigitsMax);
  char text[kFloatingTextMax + 1];
  char *end = qv::text::writeFixed(text, magnitude, built);
  // A value that rounds to no digit at all keeps the point: "0.". Only a true zero is "0", in either form; with the
  // alternate one the field has the size of "0.".
  const bool pointed = precision == 0 && (directive.has(kAlternate) || (text[0] == '0' && magnitude != 0));
  if (pointed && magnitude != 0) {
    *end++ = '.';
  }
  emit(sink, directive,
       {.lead = signOf(directive),
        .text = {text, static_cast<size_t>(end - text)},
        .zeros = static_cast<size_t>(precision - built),
        .unprinted = pointed && magnitude == 0 ? size_t{1} : size_t{0}});
}

/// The digits of a value, rounded to a number of them and without the zeros at their end, as 0.DDD... times 10 to the
/// power of point.
class Decimal {
 public:
  Decimal(double magnitude, uint32_t wanted, char exponentLetter)
  {
    const int count = static_cast<int>(std::min(wanted, uint32_t{qv::text::kSignificantDigitsMax}));
    const int power = qv::text::writeSignificant(text_, magnitude, count);
    point_ = power + 1;
    const char *last = text_ + count - 1;
    while (last > text_ && *last == '0') {
      --last;
    }
    digits_ = {text_, static_cast<size_t>(last - text_) + 1};
    exponentText_[0] = exponentLetter;
    exponentText_[1] = power < 0 ? '-' : '+';
    exponentText_[2] = '0';
    char *const number = exponentText_ + (std::abs(power) < 10 ? 3 : 2);
    exponentEnd_ = std::to_chars(number, std::end(exponentText_), std::abs(power)).ptr;
  }

  std::string_view digits() const { return digits_; }
  int32_t point() const { return point_; }
  std::string_view exponent() const { return {exponentText_, static_cast<size_t>(exponentEnd_ - exponentText_)}; }

 private:
  char text_[qv::text::kSignificantDigitsMax];
  char exponentText_[5];  // letter, sign and three digits
  char *exponentEnd_;
  std::string_view digits_;
  int32_t point_;
};

void emitExponential(Sink &sink, const Directive &directive, const Decimal &decimal, uint32_t wanted)
{
  const bool alternate = directive.has(kAlternate);
  const std::string_view digits = decimal.digits();
  char text[qv::text::kSignificantDigitsMax + 1];
  char *end = std::copy(digits.begin(), digits.end(), text + 1);
  text[0] = digits.front();
  text[1] = '.';
  if (digits.size() == 1 && !alternate) {
    --end;  // a single digit has no point
  }
  emit(sink, directive,
       {.lead = signOf(directive),
        .text = {text, static_cast<size_t>(end - text)},
        .zeros = alternate ? wanted - digits.size() : 0,
        .tail = decimal.exponent()});
}

/// The general style without exponent.
void emitPlain(Sink &sink, const Directive &directive, const Decimal &decimal, uint32_t wanted)
{
  const bool alternate = directive.has(kAlternate);
  const std::string_view digits = decimal.digits();
  const auto integral = static_cast<size_t>(std::max(decimal.point(), 0));
  const size_t held = std::min(integral, digits.size());  // digits before the point
  char text[kFloatingTextMax];
  char *end = text;
  if (integral == 0) {
    *end++ = '0';
  }
  end = std::copy_n(digits.begin(), held, end);
  end = std::fill_n(end, integral - held, '0');
  if (held < digits.size() || alternate) {
    *end++ = '.';
  }
  end = std::fill_n(end, std::max(-decimal.point(), 0), '0');
  end = std::copy(digits.begin() + held, digits.end(), end);
  emit(sink, directive,
       {.lead = signOf(directive),
        .text = {text, static_cast<size_t>(end - text)},
        .zeros = alternate ? wanted - std::max(integral, digits.size()) : 0});
}

void emitGeneral(Sink &sink, const Directive &directive, double magnitude)
{
  const int32_t precision = directive.precision < 0 ? kDefaultDecimals : directive.precision;
  const auto wanted = static_cast<uint32_t>(std::max(precision, 1));
  const Decimal decimal(magnitude, wanted, directive.conversion == 'g' ? 'e' : 'E');
  if (decimal.point() <= -4 || decimal.point() > precision) {
    emitExponential(sink, directive, decimal, wanted);
  } else {
    emitPlain(sink, directive, decimal, wanted);
  }
}

}  // namespace

void emitFloating(Sink &sink, Directive &directive, double value, Action style)
{
  if (value < 0) {  // a negative zero is not
    directive.sign = '-';
  }
  if (!std::isfinite(value)) {
    emit(sink, directive, {.lead = signOf(directive), .text = std::isnan(value) ? "NaN" : "Inf"});
    return;
  }
  const double magnitude = std::fabs(value);
  if (style == Action::fixed) {
    emitFixed(sink, directive, magnitude);
  } else if (style == Action::general) {
    emitGeneral(sink, directive, magnitude);
  } else {
    const auto decimals = static_cast<uint32_t>(directive.precision < 0 ? kDefaultDecimals : directive.precision);
    emitExponential(sink, directive, Decimal(magnitude, decimals + 1, directive.conversion), decimals + 1);
  }
}

}  // namespace qv::format
