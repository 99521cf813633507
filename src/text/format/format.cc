// The formatted-output engine: literal text, directives one after the other, and the exported functions.
//
// Promises: no byte past the size given, no allocation but for %S, no sum that can overflow, and no work for output that
// does not fit. Numbers are formatted beside this file; UCS-2 text is converted by text/convert.

#include "qvsupt32/format.h"

#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "base/alias.h"
#include "base/heap.h"
#include "qvsupt32/convert.h"
#include "text/format/directive.h"
#include "text/format/floating.h"
#include "text/format/integer.h"

namespace {

using namespace qv::format;

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

/// Prints the field of a directive. False if the output ends here.
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
      emitPointer(sink, directive, arguments.pointer<void>());
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

/// Reads a directive from the character after its percent sign and prints its field. Returns what follows it, null where
/// the output ends.
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
  if (char *const place = sink.place(kLongest); place != nullptr) {
    sink.add(static_cast<size_t>(std::to_chars(place, place + kLongest, value).ptr - place));
    return;
  }
  Directive plain;
  emitSigned(sink, plain, value);
}

/// Always inlined into the exported functions, to save a call.
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
