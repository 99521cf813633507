// The format engine with formats made from the input and arguments that match them. What comes out has to be a prefix
// of the whole output at every size, with the result and the flag that belong to it, inside the buffer, and %n has to
// count the same each time. A format of directives whose rules agree with the platform's has to print what vsnprintf(3)
// prints.

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "failing_heap.h"
#include "qvsupt32/format.h"

namespace {

/// Hands the bytes of the input out; zeros when there are no more.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), left_(size) {}

  bool empty() const { return left_ == 0; }

  uint8_t byte()
  {
    if (left_ == 0) {
      return 0;
    }
    --left_;
    return *data_++;
  }

  template <class T>
  T value()
  {
    T value;
    uint8_t bytes[sizeof(T)];
    for (uint8_t &each : bytes) {
      each = byte();
    }
    memcpy(&value, bytes, sizeof(T));
    return value;
  }

  template <class T, size_t kCount>
  T oneOf(const T (&choices)[kCount])
  {
    return choices[byte() % kCount];
  }

 private:
  const uint8_t *data_;
  size_t left_;
};

/// An argument list laid out by hand, since the types are known at run time only: everything in memory, in the slots of
/// the System V ABIs. On x86_64 the list says that the registers are used up.
class ArgumentArea {
 public:
  ArgumentArea() { slots_.reserve(64); }

  template <class T>
  void add(T value)
  {
    const size_t at = slots_.size();
    slots_.resize(at + (sizeof(T) + sizeof(uintptr_t) - 1) / sizeof(uintptr_t));
    memcpy(&slots_[at], &value, sizeof(T));
  }

  void open(va_list &list)
  {
#ifdef __x86_64__
    constexpr unsigned kUsedUp = 176;
    const struct {
      unsigned general, floating;
      void *inMemory, *inRegisters;
    } state = {kUsedUp, kUsedUp, slots_.data(), nullptr};
    static_assert(sizeof(state) == sizeof(list));
    memcpy(&list, &state, sizeof(state));
#else
    list = reinterpret_cast<va_list>(slots_.data());
#endif
  }

 private:
  std::vector<uintptr_t> slots_;
};

constexpr std::string_view kFlags[] = {"", "-", "0", "+", " ", "#", "#0", "-+"};
constexpr int32_t kExtremes[] = {0, 1, -1, -2, 15, 16, 17, 40, 309, 767, 1075, 2000000000, INT32_MAX, INT32_MIN};
constexpr std::string_view kPieces[] = {"-",  "0",          "+",  " ", "#",  "h",  "l",   "L",
                                        "hh", "7",          "20", ".", "*",  ".*", ".0",  ".12",
                                        ".3", "2147483647", ".1", "l", ".*", "*",  ".99", "99999999999"};
constexpr double kDoubles[] = {0.0,    -0.0,     0.5,      2.5,      0.3,
                               9.5,    999.9995, 99999.95, 1e22,     1e23,
                               5e-324, 1e-5,     1e-4,     0.1,      1.7976931348623157e308,
                               123456, 1234567,  1e15,     HUGE_VAL, -HUGE_VAL,
                               NAN};

/// A format with its arguments, made from an input.
class Case {
 public:
  explicit Case(Input &input) : input_(input), ordered_(input.byte() % 2 == 0)
  {
    while (!input.empty() && format_.size() < 500) {
      addLiteral();
      if (ordered_) {
        addOrdered();
      } else {
        addFree();
      }
    }
  }

  const std::string &format() const { return format_; }
  bool agrees() const { return ordered_ && agrees_; }
  void open(va_list &list) { area_.open(list); }

  /// What the %n of the last call stored; the cells are set back.
  std::vector<int32_t> takeCounts()
  {
    std::vector<int32_t> counts;
    for (const auto &cell : counts_) {
      counts.push_back(*cell);
      *cell = kUnset;
    }
    return counts;
  }

 private:
  static constexpr int32_t kUnset = 0x5A5A5A5A;

  void addLiteral()
  {
    for (unsigned count = input_.byte() % 40; count > 0; --count) {
      const uint8_t byte = input_.byte();
      format_ += byte == 0 || byte == '%' ? ' ' : static_cast<char>(byte);
    }
  }

  double number()
  {
    const uint8_t way = input_.byte();
    if (way < 64) {
      return input_.oneOf(kDoubles);
    }
    if (way < 128) {
      return input_.value<int32_t>() / 1000.0;
    }
    if (way < 160) {
      return std::ldexp(input_.value<uint16_t>(), input_.byte() - 128);
    }
    return input_.value<double>();
  }

  /// A text of exactly its size in the heap, where reading past it is noticed.
  const char *text(bool terminated, size_t size)
  {
    texts_.push_back(std::make_unique<char[]>(size + (terminated ? 1 : 0)));
    for (size_t i = 0; i < size; ++i) {
      const uint8_t byte = input_.byte();
      texts_.back()[i] = byte == 0 ? '0' : static_cast<char>(byte);
    }
    return texts_.back().get();
  }

  const SMChar16 *units()
  {
    const size_t size = input_.byte() % 12;
    units_.push_back(std::make_unique<SMChar16[]>(size + 1));
    for (size_t i = 0; i < size; ++i) {
      const auto unit = input_.value<uint16_t>();
      units_.back()[i] = unit == 0 ? SMChar16{'0'} : static_cast<SMChar16>(unit);
    }
    return units_.back().get();
  }

  int32_t *countCell()
  {
    counts_.push_back(std::make_unique<int32_t>(kUnset));
    return counts_.back().get();
  }

  /// Any pieces in any order before any character. Of the arguments only number and type have to match.
  void addFree()
  {
    format_ += '%';
    for (unsigned count = input_.byte() % 6; count > 0; --count) {
      const std::string_view piece = input_.oneOf(kPieces);
      format_ += piece;
      if (piece.back() == '*') {
        area_.add(input_.oneOf(kExtremes));
      }
    }
    constexpr std::string_view kConversions = "diuoxXDOUcfeEgGpsSn%";
    uint8_t byte = input_.byte();
    byte = byte < 240 ? static_cast<uint8_t>(kConversions[byte % kConversions.size()]) : input_.byte();
    const char conversion = byte == 0 ? 'q' : static_cast<char>(byte);
    if (conversion == '*') {
      area_.add(input_.oneOf(kExtremes));
    }
    format_ += conversion;
    addArgument(conversion);
    if (strchr("123456789*.0+- #hlL", conversion) != nullptr) {
      format_ += '%';  // ends a directive that the character did not end
    }
  }

  void addArgument(char conversion)
  {
    switch (conversion) {
      case 'f':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
        area_.add(number());
        break;
      case 's':
        area_.add(input_.byte() % 8 == 0 ? nullptr : text(true, input_.byte() % 40));
        break;
      case 'S':
        area_.add(input_.byte() % 8 == 0 ? nullptr : units());
        break;
      case 'p':
        area_.add(input_.value<uintptr_t>());
        break;
      case 'n':
        area_.add(countCell());
        break;
      default:
        if (strchr("diuoxXDOUc", conversion) != nullptr) {
          area_.add(input_.value<int32_t>());
        }
    }
  }

  /// A directive in the standard's order. Where its rules differ from the standard's, the case does not agree.
  void addOrdered()
  {
    constexpr std::string_view kConversions = "diuoxXcfeEgGpsn%dsfg";
    const char conversion = kConversions[input_.byte() % kConversions.size()];
    if (conversion == '%') {
      format_ += "%%";
      return;
    }
    std::string_view flags = input_.oneOf(kFlags);
    if (strchr("csn", conversion) != nullptr && flags.find('0') != flags.npos) {
      flags = "-";
    }
    format_ += '%';
    format_ += flags;
    if (const uint8_t width = input_.byte(); conversion != 'n' && width < 100) {
      format_ += width % 2 == 0 ? std::to_string(width + 1) : "*";
      if (width % 2 != 0) {
        // The platform pads with zeros on the right where a negative width meets the flag 0.
        const int32_t lowest = flags.find('0') == flags.npos ? -128 : 0;
        area_.add(lowest + input_.byte());
      }
    }
    int32_t precision = -1;
    if (const uint8_t way = input_.byte(); conversion != 'n' && conversion != 'c' && way < 128) {
      precision = way < 100 ? way % 25 : input_.byte() * 8;
      format_ += way % 2 == 0 ? "." + std::to_string(precision) : ".*";
      if (way % 2 != 0) {
        area_.add(precision);
      }
    }
    addComparedArgument(conversion, flags, precision);
  }

  void addComparedArgument(char conversion, std::string_view flags, int32_t precision)
  {
    const bool alternate = flags.find('#') != flags.npos;
    const bool signs = flags.find('+') != flags.npos || flags.find(' ') != flags.npos;
    switch (conversion) {
      case 'p':
        area_.add(input_.value<uintptr_t>() | 1);
        agrees_ &= precision < 0 && !signs;
        break;
      case 's':
        if (precision < 0 || input_.byte() % 4 != 0) {
          area_.add(text(true, input_.byte() % 40));
        } else {
          // A text without a terminator is within the platform's rules, but its sanitizer reads one byte too many.
          area_.add(text(false, static_cast<size_t>(precision)));
          agrees_ = false;
        }
        break;
      case 'f':
      case 'e':
      case 'E':
      case 'g':
      case 'G': {
        const double value = number();
        area_.add(value);
        agrees_ &= std::isfinite(value) && (value != 0 || !std::signbit(value));
        if (conversion == 'f') {
          agrees_ &= precision != 0 || (alternate ? value != 0 : value == 0 || std::fabs(value) > 0.5);
        } else if (conversion == 'e' || conversion == 'E') {
          agrees_ &= alternate || precision == 0;
        } else {
          // Where rounding carries into one more digit, the platform forgets the zeros of the alternate form.
          agrees_ &= precision != 0 && !alternate;
        }
        break;
      }
      case 'n':
        area_.add(countCell());
        break;
      default: {
        const auto value = input_.value<int32_t>();
        if (input_.byte() % 4 == 0) {
          format_ += 'h';
        }
        area_.add(value);
        if (conversion == 'd' || conversion == 'i') {
          agrees_ &= precision < 0 || (value >= 0 && static_cast<int16_t>(value) >= 0 && !signs);
        } else if (conversion != 'c') {
          agrees_ &= precision < 0 || !alternate;
        }
      }
    }
    format_ += conversion;
  }

  Input &input_;
  std::string format_;
  bool ordered_;
  bool agrees_ = true;
  ArgumentArea area_;
  std::vector<std::unique_ptr<char[]>> texts_;
  std::vector<std::unique_ptr<SMChar16[]>> units_;
  std::vector<std::unique_ptr<int32_t>> counts_;
};

constexpr uint32_t kSizeMax = 0x80000000;
constexpr uint32_t kWholeSize = 4096;
constexpr char kUntouched = '\xA5';

/// One call with a buffer of exactly the size.
struct Call {
  Call(Case &subject, uint32_t size) : buffer(size, kUntouched)
  {
    va_list list;
    subject.open(list);
    stored = OSvsnprintf(buffer.data(), size, &truncated, subject.format().c_str(), list);
    counts = subject.takeCounts();
  }

  std::vector<char> buffer;
  uint32_t stored;
  uint32_t truncated = 2;
  std::vector<int32_t> counts;
};

[[noreturn]] void fail(const char *what, const std::string &format)
{
  fprintf(stderr, "%s: \"%s\"\n", what, format.c_str());
  abort();
}

void check(bool held, const char *what, const Case &subject)
{
  if (!held) {
    fail(what, subject.format());
  }
}

/// The start of the whole output, terminated, and nothing behind it.
void checkStored(const Case &subject, const Call &whole, const std::vector<char> &buffer, uint32_t stored)
{
  check(memcmp(buffer.data(), whole.buffer.data(), stored) == 0, "other bytes at another size", subject);
  check(buffer[stored] == '\0', "not terminated", subject);
  for (size_t i = stored + 1; i < buffer.size(); ++i) {
    check(buffer[i] == kUntouched, "written behind the terminator", subject);
  }
}

void checkSize(Case &subject, const Call &whole, uint32_t total, uint32_t size)
{
  const Call call(subject, size);
  check(call.counts == whole.counts, "%n counts otherwise", subject);
  if (size == 0) {
    check(call.stored == 0 && call.truncated == 0, "size 0", subject);
    return;
  }
  check(call.stored == std::min(total, size - 1), "result", subject);
  check(call.truncated == (total > size - 1 ? 1 : 0), "flag", subject);
  checkStored(subject, whole, call.buffer, call.stored);
}

void checkAgainstPlatform(Case &subject, const Call &whole)
{
  std::vector<char> expected(kWholeSize);
  va_list list;
  subject.open(list);
  const int length = vsnprintf(expected.data(), expected.size(), subject.format().c_str(), list);
  check(subject.takeCounts() == whole.counts, "%n differs from vsnprintf", subject);
  check(length >= 0 && whole.truncated == (static_cast<uint32_t>(length) >= kWholeSize ? 1 : 0),
        "length differs from vsnprintf", subject);
  if (memcmp(expected.data(), whole.buffer.data(), whole.stored + 1) != 0) {
    fprintf(stderr, "vsnprintf: %s\nours:      %s\n", expected.data(), whole.buffer.data());
    fail("text differs from vsnprintf", subject.format());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  Input input(data, size);
  const uint32_t bufferSize = input.value<uint16_t>() % 700;
  Case subject(input);

  const Call whole(subject, kWholeSize);
  va_list list;
  subject.open(list);
  uint32_t truncated = 2;
  const uint32_t total = OSvsnprintf(nullptr, kSizeMax, &truncated, subject.format().c_str(), list);
  check(subject.takeCounts() == whole.counts, "%n counts otherwise without a buffer", subject);
  check(truncated == 0 || total == kSizeMax - 1, "flag without a buffer", subject);
  checkSize(subject, whole, total, kWholeSize);
  checkSize(subject, whole, total, bufferSize);
  checkSize(subject, whole, total, std::min(total, kWholeSize - 1) + 1);
  checkSize(subject, whole, total, std::min(total, kWholeSize - 1));
  if (subject.agrees()) {
    checkAgainstPlatform(subject, whole);
  }

  std::vector<char> buffer(kWholeSize, kUntouched);
  subject.open(list);
  uint32_t stored;
  bool struck;
  {
    const fuzz::FailingHeap heap(data, size);
    stored = OSvsnprintf(buffer.data(), kWholeSize, nullptr, subject.format().c_str(), list);
    struck = heap.struck();
  }
  check(struck ? stored <= whole.stored : stored == whole.stored, "result without memory", subject);
  checkStored(subject, whole, buffer, stored);
  return 0;
}
