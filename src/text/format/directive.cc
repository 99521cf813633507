// The table of directive characters, and the reader of directives.

#include "text/format/directive.h"

#include <algorithm>
#include <array>

namespace qv::format {
namespace {

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

}  // namespace

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

}  // namespace qv::format
