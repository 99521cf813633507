// The formatted-output engine: directives read by a table, fields laid out by one rule, and a sink that stores what
// there is room for and counts on.
//
// Promises: no byte beyond the size given, no allocation but for %S, no sum that can overflow, and no work for what
// lies beyond the room. Digits of a double come from std::to_chars with a precision, which rounds the exact value
// correctly. Leaves to others: UCS-2 to UTF-8 (text/convert).

#include "qvsupt32/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/alias.h"
#include "base/heap.h"
#include "base/text.h"
#include "qvsupt32/convert.h"

namespace {

/// The largest size that counts: the room that it leaves is the largest signed 32-bit number.
constexpr uint32_t kSizeMax = 0x80000000;

/// Padding is stored in runs of these.
constexpr size_t kRunSize = 16;
constexpr char kSpaces[kRunSize + 1] = "                ";
constexpr char kZeros[kRunSize + 1] = "0000000000000000";

/// Where the output goes: what there is room for is stored, the rest is counted. Without a buffer the room is the same,
/// and nothing is stored in it.
class Sink {
 public:
  Sink(char *buffer, uint32_t size)
      : usable_(size >= 1 && size <= kSizeMax), buffer_(usable_ ? buffer : nullptr), limit_(usable_ ? size - 1 : 0)
  {
  }

  void put(std::string_view text)
  {
    if (text.empty()) {
      return;
    }
    const size_t fitting = claim(text.size());
    if (buffer_ != nullptr) {
      qv::copyShort(buffer_ + stored_, text.data(), fitting);
    }
    stored_ += fitting;
  }

  /// A number of spaces or zeros.
  void pad(const char (&run)[kRunSize + 1], size_t count)
  {
    if (count == 0) {
      return;
    }
    size_t fitting = claim(count);
    if (buffer_ == nullptr) {
      stored_ += fitting;
      return;
    }
    for (; fitting > kRunSize; fitting -= kRunSize, stored_ += kRunSize) {
      memcpy(buffer_ + stored_, run, kRunSize);
    }
    qv::copyShort(buffer_ + stored_, run, fitting);
    stored_ += fitting;
  }

  /// Where the next bytes go, if so many can be stored; else null. What is written there is then added.
  char *place(size_t size) const
  {
    return size <= limit_ - stored_ && buffer_ != nullptr ? buffer_ + stored_ : nullptr;
  }
  void add(size_t size) { stored_ += size; }

  /// The bytes produced so far, those included for which there was no room.
  uint32_t produced() const { return static_cast<uint32_t>(std::min(stored_ + dropped_, kProducedMax)); }

  /// Terminates the output. Returns the number of bytes stored.
  uint32_t finish(uint32_t *truncated)
  {
    if (buffer_ != nullptr) {
      buffer_[stored_] = '\0';
    }
    if (truncated != nullptr) {
      *truncated = dropped_ != 0 && usable_ ? 1 : 0;
    }
    return static_cast<uint32_t>(stored_);
  }

 private:
  /// How much of a piece of output there is room for. The rest is counted.
  size_t claim(size_t size)
  {
    const size_t room = limit_ - stored_;
    if (size <= room) {
      return size;
    }
    dropped_ += std::min(size - room, kProducedMax - dropped_);
    return room;
  }

  static constexpr size_t kProducedMax = INT32_MAX;

  bool usable_;   // the size is one that the room is counted by
  char *buffer_;  // null as well where it is not
  size_t limit_;
  size_t stored_ = 0;
  size_t dropped_ = 0;  // at most kProducedMax
};

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

constexpr uint8_t kAlternate = 1;
constexpr uint8_t kLeftAdjust = 2;
constexpr uint8_t kLong = 4;
constexpr uint8_t kShort = 8;
constexpr uint8_t kZeroPad = 16;

/// The radix of an unsigned conversion as bits a digit, 0 for decimal.
enum class Radix : uint8_t { decimal = 0, octal = 3, hexadecimal = 4 };

struct Rule {
  Action action = Action::itself;
  uint8_t flags = 0;
  Radix radix = Radix::decimal;
};

struct RuleRow {
  char character;
  Rule rule;
};

constexpr RuleRow kRuleRows[] = {
    {'-', {Action::flag, kLeftAdjust}},
    {'0', {Action::flag, kZeroPad}},
    {'#', {Action::flag, kAlternate}},
    {'h', {Action::flag, kShort}},
    {'l', {Action::flag, kLong}},
    {'L', {Action::flag}},
    {' ', {Action::space}},
    {'+', {Action::plus}},
    {'1', {Action::width}},
    {'2', {Action::width}},
    {'3', {Action::width}},
    {'4', {Action::width}},
    {'5', {Action::width}},
    {'6', {Action::width}},
    {'7', {Action::width}},
    {'8', {Action::width}},
    {'9', {Action::width}},
    {'*', {Action::widthArgument}},
    {'.', {Action::precision}},
    {'\0', {Action::endOfFormat}},
    {'c', {Action::character}},
    {'d', {Action::signedInteger}},
    {'i', {Action::signedInteger}},
    {'D', {Action::signedInteger, kLong}},
    {'u', {Action::unsignedInteger}},
    {'U', {Action::unsignedInteger, kLong}},
    {'o', {Action::unsignedInteger, 0, Radix::octal}},
    {'O', {Action::unsignedInteger, kLong, Radix::octal}},
    {'x', {Action::unsignedInteger, 0, Radix::hexadecimal}},
    {'X', {Action::unsignedInteger, 0, Radix::hexadecimal}},
    {'p', {Action::pointer, 0, Radix::hexadecimal}},
    {'f', {Action::fixed}},
    {'e', {Action::exponential}},
    {'E', {Action::exponential}},
    {'g', {Action::general}},
    {'G', {Action::general}},
    {'s', {Action::text}},
    {'S', {Action::ucs2Text}},
    {'n', {Action::count}},
};

/// The rows by character. Every other character stands for itself.
constexpr auto kRules = [] {
  std::array<Rule, 256> rules{};
  for (const RuleRow &row : kRuleRows) {
    rules[static_cast<uint8_t>(row.character)] = row.rule;
  }
  return rules;
}();

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
};

/// Lays a field out. On i386 no sum here passes 32 bits: a text comes alone, and everything else is at most a count of
/// zeros below 2^31 + 1 with less than two thousand bytes around it.
void emit(Sink &sink, const Directive &directive, const Field &field)
{
  const size_t fieldSize = field.lead.size() + field.text.size() + field.zeros + field.tail.size();
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
  if (left) {
    sink.pad(kSpaces, padding);
  }
}

/// The sign as a lead; a conversion without a sign leaves it out.
std::string_view signOf(const Directive &directive)
{
  return {&directive.sign, directive.sign == '\0' ? size_t{0} : size_t{1}};
}

// Integers ----------------------------------------------------------------------------------------------------------

/// Room for the digits of a pointer in octal.
constexpr size_t kIntegerDigitsMax = (sizeof(uintptr_t) * 8 + 2) / 3 + 1;

/// The two digits of 0 to 99, one pair behind the other.
constexpr auto kDigitPairs = [] {
  std::array<char, 200> pairs{};
  for (size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

constexpr uint32_t kPowersOf10[] = {0, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

/// How many digits a number has; 0 has one.
size_t countDigits(uint32_t value)
{
  // 1233 / 4096 is a little above the logarithm of 2, near enough for 32 bits.
  const auto estimate = static_cast<size_t>(std::bit_width(value | 1)) * 1233 >> 12;
  return estimate + (value >= kPowersOf10[estimate] ? 1 : 0);
}

void writePair(char *to, uint32_t pair)
{
  memcpy(to, &kDigitPairs[size_t{pair} * 2], 2);
}

/// Writes digits from the end backwards, as few divisions as there can be one behind the other. Returns the first; 0 is
/// one digit.
char *writeDecimal(char *end, uint32_t value)
{
  while (value >= 10000) {
    const uint32_t low = value % 10000;
    value /= 10000;
    end -= 4;
    writePair(end, low / 100);
    writePair(end + 2, low % 100);
  }
  if (value >= 100) {
    end -= 2;
    writePair(end, value % 100);
    value /= 100;
  }
  if (value >= 10) {
    end -= 2;
    writePair(end, value);
  } else {
    *--end = static_cast<char>('0' + value);
  }
  return end;
}

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
  char *const end = digits + sizeof(digits);
  char *first = end;
  if (directive.precision >= 0) {
    directive.flags &= static_cast<uint8_t>(~kZeroPad);
  }
  if (value != 0 || directive.precision != 0) {
    if (radix == Radix::decimal) {
      first = writeDecimal(end, static_cast<uint32_t>(value));
    } else {
      first = writeByBits(end, value, static_cast<unsigned>(radix),
                          directive.conversion == 'X' ? "0123456789ABCDEF" : "0123456789abcdef");
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

// Not inlined, since the quick way of a plain number would carry its frame.
[[gnu::noinline]] void emitSigned(Sink &sink, Directive &directive, int32_t argument)
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

// Floating point ----------------------------------------------------------------------------------------------------

// The exact decimal form of a double has at most so many digits; every further one is a zero.
constexpr int32_t kIntegralDigitsMax = 309;
constexpr int32_t kFractionDigitsMax = 1074;
constexpr uint32_t kSignificantDigitsMax = 767;

/// Room for the longest text that is built, which is one in fixed style.
constexpr size_t kFloatingTextMax = kIntegralDigitsMax + 1 + kFractionDigitsMax;

/// What most doubles are printed with: one to three decimals of a value below 2^31. Their exact value times a power of
/// ten fits 64 bits then, so that the rounding, half to even, is one of integers.
class ShortFixed {
 public:
  static constexpr int32_t kDecimalsMax = 3;

  /// Not for values so small that the rounding would need more bits.
  static bool takes(double magnitude, int32_t decimals)
  {
    return decimals >= 1 && decimals <= kDecimalsMax && magnitude < 0x1p31 && magnitude >= 0x1p-10;
  }

  ShortFixed(double magnitude, int32_t decimals)
  {
    constexpr int kMantissaBits = 52;
    constexpr int kBias = 1023;
    const auto bits = std::bit_cast<uint64_t>(magnitude);
    const auto shift = static_cast<unsigned>(kBias + kMantissaBits - static_cast<int>(bits >> kMantissaBits));
    const uint64_t unit = uint64_t{1} << shift;  // what stands for 1 in the mantissa
    const uint64_t mantissa = (bits & ((uint64_t{1} << kMantissaBits) - 1)) | uint64_t{1} << kMantissaBits;

    auto integral = static_cast<uint32_t>(mantissa >> shift);
    const uint32_t power = kPowersOf10[decimals];
    const uint64_t scaled = (mantissa & (unit - 1)) * power;
    auto fraction = static_cast<uint32_t>(scaled >> shift);
    const uint64_t rest = scaled & (unit - 1);
    if (rest > unit / 2 || (rest == unit / 2 && fraction % 2 == 1)) {
      ++fraction;
    }
    if (fraction == power) {
      fraction = 0;
      ++integral;
    }
    char *const point = text_ + sizeof(text_) - 1 - decimals;
    *point = '.';
    memset(point + 1, '0', static_cast<size_t>(decimals));
    (void)writeDecimal(text_ + sizeof(text_), fraction);  // up to the point
    first_ = writeDecimal(point, integral);
  }

  std::string_view text() const { return {first_, static_cast<size_t>(text_ + sizeof(text_) - first_)}; }

 private:
  char text_[10 + 1 + kDecimalsMax];
  const char *first_;
};

void emitFixed(Sink &sink, const Directive &directive, double magnitude)
{
  const int32_t precision = directive.precision < 0 ? kDefaultDecimals : directive.precision;
  if (ShortFixed::takes(magnitude, precision)) {
    const ShortFixed number(magnitude, precision);
    emit(sink, directive, {.lead = signOf(directive), .text = number.text()});
    return;
  }
  const int32_t built = std::min(precision, kFractionDigitsMax);
  char text[kFloatingTextMax + 1];
  char *end = std::to_chars(text, text + kFloatingTextMax, magnitude, std::chars_format::fixed, built).ptr;
  // A value that rounds to no digit at all keeps the point: "0.". Only a true zero is "0", in either form.
  if (precision == 0 && magnitude != 0 && (directive.has(kAlternate) || text[0] == '0')) {
    *end++ = '.';
  }
  emit(sink, directive,
       {.lead = signOf(directive),
        .text = {text, static_cast<size_t>(end - text)},
        .zeros = static_cast<size_t>(precision - built)});
}

/// The digits of a value, rounded to a number of them and without the zeros at their end, as 0.DDD... times 10 to the
/// power of point.
class Decimal {
 public:
  Decimal(double magnitude, uint32_t wanted, char exponentLetter)
  {
    const auto decimals = static_cast<int>(std::min(wanted, kSignificantDigitsMax)) - 1;
    char *const end =
        std::to_chars(text_, text_ + sizeof(text_), magnitude, std::chars_format::scientific, decimals).ptr;
    char *exponent = end[-4] == 'e' ? end - 4 : end - 5;
    *exponent = exponentLetter;
    exponent_ = {exponent, static_cast<size_t>(end - exponent)};
    int32_t power = 0;
    for (const char *digit = exponent + 2; digit != end; ++digit) {
      power = power * 10 + (*digit - '0');
    }
    point_ = (exponent[1] == '-' ? -power : power) + 1;

    const char *first = text_;
    if (decimals > 0) {
      text_[1] = text_[0];  // over the point, so that the digits are in a row
      ++first;
    }
    const char *last = exponent - 1;
    while (last > first && *last == '0') {
      --last;
    }
    digits_ = {first, static_cast<size_t>(last - first) + 1};
  }

  std::string_view digits() const { return digits_; }
  int32_t point() const { return point_; }
  std::string_view exponent() const { return exponent_; }

 private:
  char text_[kSignificantDigitsMax + 6];  // point, letter, sign and three digits
  std::string_view digits_;
  std::string_view exponent_;
  int32_t point_;
};

void emitExponential(Sink &sink, const Directive &directive, const Decimal &decimal, uint32_t wanted)
{
  const bool alternate = directive.has(kAlternate);
  const std::string_view digits = decimal.digits();
  char text[kSignificantDigitsMax + 1];
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

// Text --------------------------------------------------------------------------------------------------------------

void emitText(Sink &sink, const Directive &directive, const char *text)
{
  if (text == nullptr) {
    text = "(null)";
  }
  const size_t size = directive.precision < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(directive.precision));
  emit(sink, directive, {.text = {text, size}});
}

/// False when the text cannot be converted.
bool emitUcs2Text(Sink &sink, const Directive &directive, const SMChar16 *text)
{
  if (text == nullptr) {
    emitText(sink, directive, nullptr);
    return true;
  }
  uint32_t size = 0;
  if (UCS2StrToUTF8Str(nullptr, &size, text) != SM_STATUS_SUCCESS) {
    return false;
  }
  const qv::HeapBlock<char> converted(static_cast<char *>(malloc(size)));
  if (converted == nullptr || UCS2StrToUTF8Str(converted.get(), &size, text) != SM_STATUS_SUCCESS) {
    return false;
  }
  emitText(sink, directive, converted.get());
  return true;
}

// The engine --------------------------------------------------------------------------------------------------------

/// The arguments not read yet. A class of its own, because a va_list is an array on some machines and no reference to
/// it can be handed on.
class Arguments {
 public:
  int32_t integer() { return va_arg(list, int); }
  double floating() { return va_arg(list, double); }
  template <class T>
  T *pointer()
  {
    return va_arg(list, T *);
  }

  va_list list;
};

/// Reads a decimal number, taken as INT32_MAX where it is larger. None is 0.
int32_t readNumber(const char *&format)
{
  constexpr uint32_t kMax = INT32_MAX;
  uint32_t number = 0;
  for (; *format >= '0' && *format <= '9'; ++format) {
    number = number > kMax / 10 ? kMax : std::min(number * 10 + static_cast<uint32_t>(*format - '0'), kMax);
  }
  return static_cast<int32_t>(number);
}

/// Reads a directive behind its percent sign, through its conversion. At the end of the format it stops there.
const Rule &readDirective(const char *&format, Arguments &arguments, Directive &directive)
{
  for (;;) {
    const char character = *format;
    const Rule &rule = kRules[static_cast<uint8_t>(character)];
    directive.flags |= rule.flags;
    switch (rule.action) {
      case Action::flag:
        ++format;
        break;
      case Action::space:
        ++format;
        if (directive.sign == '\0') {
          directive.sign = ' ';
        }
        break;
      case Action::plus:
        ++format;
        directive.sign = '+';
        break;
      case Action::width:
        directive.width = static_cast<uint32_t>(readNumber(format));
        break;
      case Action::widthArgument: {
        ++format;
        const int32_t width = arguments.integer();
        directive.width = static_cast<uint32_t>(width);
        if (width < 0) {
          directive.width = 0 - directive.width;
          directive.flags |= kLeftAdjust;
        }
        break;
      }
      case Action::precision:
        ++format;
        if (*format == '*') {
          ++format;
          directive.precision = std::max(arguments.integer(), kNoPrecision);
        } else {
          directive.precision = readNumber(format);
        }
        break;
      case Action::endOfFormat:
        return rule;
      default:
        ++format;
        directive.conversion = character;
        return rule;
    }
  }
}

/// Emits what a directive stands for. False when the output ends here.
bool emitDirective(Sink &sink, const Rule &rule, Directive &directive, Arguments &arguments)
{
  switch (rule.action) {
    case Action::endOfFormat:
      return false;
    case Action::character:
      directive.conversion = static_cast<char>(arguments.integer());
      [[fallthrough]];
    case Action::itself:
      emit(sink, directive, {.text = {&directive.conversion, 1}});
      return true;
    case Action::signedInteger:
      emitSigned(sink, directive, arguments.integer());
      return true;
    case Action::unsignedInteger:
      emitUnsigned(sink, directive, static_cast<uint32_t>(arguments.integer()), rule.radix);
      return true;
    case Action::pointer:
      emitInteger(sink, directive, reinterpret_cast<uintptr_t>(arguments.pointer<void>()), rule.radix, "0x");
      return true;
    case Action::fixed:
    case Action::exponential:
    case Action::general:
      emitFloating(sink, directive, arguments.floating(), rule.action);
      return true;
    case Action::text:
      emitText(sink, directive, arguments.pointer<const char>());
      return true;
    case Action::ucs2Text:
      return emitUcs2Text(sink, directive, arguments.pointer<const SMChar16>());
    case Action::count:
      if (directive.isShort()) {
        *arguments.pointer<int16_t>() = static_cast<int16_t>(sink.produced());
      } else {
        *arguments.pointer<int32_t>() = static_cast<int32_t>(sink.produced());
      }
      return true;
    default:  // the characters that go on reading
      return true;
  }
}

// The parts of the loop are not inlined, so that it runs in a small frame with few registers to save.

/// Copies the text up to the next directive or the end of the format. Returns that place.
[[gnu::noinline]] const char *putLiteral(Sink &sink, const char *format)
{
  const char *end = strchrnul(format, '%');
  sink.put({format, static_cast<size_t>(end - format)});
  return end;
}

/// Reads a directive behind its percent sign and prints what it stands for. Returns the place behind it, null where the
/// output ends.
[[gnu::noinline]] const char *putDirective(Sink &sink, const char *format, Arguments &arguments)
{
  Directive directive;
  const Rule &rule = readDirective(format, arguments, directive);
  return emitDirective(sink, rule, directive, arguments) ? format : nullptr;
}

[[gnu::noinline]] void putText(Sink &sink, const char *text)
{
  sink.put(text == nullptr ? "(null)" : text);
}

/// A decimal number without flags, width or precision.
void putPlainInteger(Sink &sink, int32_t value)
{
  constexpr size_t kLongest = 11;
  char *const place = sink.place(kLongest);
  if (place == nullptr) {
    Directive plain;
    emitSigned(sink, plain, value);
    return;
  }
  const bool negative = value < 0;
  const uint32_t magnitude = negative ? 0 - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  const size_t size = countDigits(magnitude) + (negative ? 1 : 0);
  *place = '-';  // a number without sign puts its first digit there
  writeDecimal(place + size, magnitude);
  sink.add(size);
}

/// The loop itself is, which saves the exported functions a call.
[[gnu::always_inline]] inline uint32_t formatInto(char *buffer, uint32_t size, uint32_t *truncated, const char *format,
                                                  Arguments &arguments)
{
  Sink sink(buffer, size);
  while (format != nullptr && *format != '\0') {
    if (*format != '%') {
      format = putLiteral(sink, format);
    } else if (format[1] == 'd') {
      // This directive and the next are what most formats consist of, and need no way through the rules.
      format += 2;
      putPlainInteger(sink, arguments.integer());
    } else if (format[1] == 's') {
      format += 2;
      putText(sink, arguments.pointer<const char>());
    } else {
      format = putDirective(sink, format + 1, arguments);
    }
  }
  return sink.finish(truncated);
}

}  // namespace

uint32_t OSvsnprintf(char *buffer, uint32_t size, uint32_t *truncated, const char *format, va_list arguments)
{
  Arguments copy;
  va_copy(copy.list, arguments);
  const uint32_t stored = formatInto(buffer, size, truncated, format, copy);
  va_end(copy.list);
  return stored;
}

uint32_t SMvsnprintf(char *buffer, uint32_t size, const char *format, va_list arguments)
{
  return OSvsnprintf(buffer, size, nullptr, format, arguments);
}

uint32_t OSsnprintf(char *buffer, uint32_t size, const char *format, ...)
{
  Arguments arguments;
  va_start(arguments.list, format);
  const uint32_t stored = formatInto(buffer, size, nullptr, format, arguments);
  va_end(arguments.list);
  return stored;
}

QV_ALIAS(SMsnprintf, OSsnprintf)
