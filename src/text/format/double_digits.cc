// The exact value of a double is an integer times a power of two. What is before the point is divided, and what is after
// it multiplied by a power of ten at a time, in as many words as it takes: few for the numbers that programs print.

#include "text/format/double_digits.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace qv::text {
namespace {

constexpr uint32_t kGroup = 1000000000;  // the largest power of ten that a word holds
constexpr int kGroupDigits = 9;
constexpr int kMantissaBits = 52;
constexpr int kBias = 1023;
constexpr int kWordBits = 32;

/// A value: an integer times a power of two.
struct Parts {
  explicit Parts(double magnitude)
  {
    const auto bits = std::bit_cast<uint64_t>(magnitude);
    const int exponent = static_cast<int>(bits >> kMantissaBits);
    mantissa = bits & ((uint64_t{1} << kMantissaBits) - 1);
    if (exponent != 0) {
      mantissa |= uint64_t{1} << kMantissaBits;
    }
    shift = std::max(exponent, 1) - kBias - kMantissaBits;
  }

  uint64_t mantissa;
  int shift;
};

/// The digits of a value in a row, as many as were asked for and some more.
class ExactDigits {
 public:
  explicit ExactDigits(double magnitude)
  {
    const Parts parts(magnitude);
    const uint64_t mantissa = parts.mantissa;
    const int shift = parts.shift;
    if (shift >= 0) {
      setIntegral(mantissa, static_cast<unsigned>(shift));
    } else {
      setFraction(mantissa, static_cast<unsigned>(-shift));
    }
  }

  /// The digits before the point; none for a value below 1.
  int integral() const { return integral_; }

  /// The digit at a place, counted from the first one before the point.
  char at(int place)
  {
    extendBeyond(place);
    return place < length_ ? digits_[place] : '0';
  }

  /// The place of the first digit that is not zero. There is one unless the value is 0.
  int first()
  {
    int place = 0;
    while (at(place) == '0' && (place < length_ - 1 || low_ < words_)) {
      ++place;
    }
    return place;
  }

  /// Rounds to the places before one. True if a 1 is carried past the first.
  bool roundBefore(int place)
  {
    const char next = at(place);
    const bool more = low_ < words_ || std::any_of(digits_ + std::min(place + 1, length_), digits_ + length_,
                                                   [](char digit) { return digit != '0'; });
    const bool odd = place > 0 && at(place - 1) % 2 != 0;
    if (next < '5' || (next == '5' && !more && !odd)) {
      return false;
    }
    for (int i = place - 1; i >= 0; --i) {
      if (digits_[i] != '9') {
        ++digits_[i];
        return false;
      }
      digits_[i] = '0';
    }
    return true;
  }

  /// Copies the digits between two places.
  char *copy(int from, int to, char *out)
  {
    extendBeyond(to - 1);
    const int held = std::clamp(length_, from, to);
    out = std::copy(digits_ + from, digits_ + held, out);
    return std::fill_n(out, to - held, '0');
  }

 private:
  static constexpr int kWordsMax = 36;  // of 1074 bits, and a mantissa that reaches over the last

  /// Nine digits, leading zeros included.
  static void writeGroup(uint32_t group, char *out)
  {
    for (int i = kGroupDigits - 1; i >= 0; --i) {
      out[i] = static_cast<char>('0' + group % 10);
      group /= 10;
    }
  }

  /// Stores a number of 64 bits that begins at a bit of the words.
  void store(uint64_t number, unsigned bit)
  {
    const unsigned word = bit / kWordBits;
    const unsigned shift = bit % kWordBits;
    word_[word] = static_cast<uint32_t>(number << shift);
    word_[word + 1] = static_cast<uint32_t>(number >> (kWordBits - shift));
    word_[word + 2] = shift == 0 ? 0 : static_cast<uint32_t>(number >> (2 * kWordBits - shift));
  }

  void setIntegral(uint64_t mantissa, unsigned shift)
  {
    memset(word_, 0, sizeof(word_));
    store(mantissa, shift);
    int count = static_cast<int>(shift / kWordBits) + 3;
    char *const end = digits_ + (kIntegralDigitsMax / kGroupDigits + 1) * kGroupDigits;
    char *at = end;
    while (count > 0) {
      uint64_t rest = 0;
      for (int i = count - 1; i >= 0; --i) {
        rest = rest << kWordBits | word_[i];
        word_[i] = static_cast<uint32_t>(rest / kGroup);
        rest %= kGroup;
      }
      at -= kGroupDigits;
      writeGroup(static_cast<uint32_t>(rest), at);
      while (count > 0 && word_[count - 1] == 0) {
        --count;
      }
    }
    at = std::find_if(at, end, [](char digit) { return digit != '0'; });
    length_ = integral_ = static_cast<int>(end - at);
    memmove(digits_, at, static_cast<size_t>(integral_));
  }

  void setFraction(uint64_t mantissa, unsigned bits)
  {
    const uint64_t whole = bits > kMantissaBits ? 0 : mantissa >> bits;
    const uint64_t fraction = bits > kMantissaBits ? mantissa : mantissa & ((uint64_t{1} << bits) - 1);
    if (whole != 0) {
      length_ = integral_ = static_cast<int>(std::to_chars(digits_, digits_ + 20, whole).ptr - digits_);
    }
    if (fraction == 0) {
      return;
    }
    words_ = static_cast<int>((bits + kWordBits - 1) / kWordBits);
    memset(word_, 0, sizeof(word_[0]) * (static_cast<size_t>(words_) + 3));
    store(fraction, static_cast<unsigned>(words_) * kWordBits - bits);
    dropZeros();
  }

  /// Words at the low end that are zero take no part any more.
  void dropZeros()
  {
    while (low_ < words_ && word_[low_] == 0) {
      ++low_;
    }
  }

  /// Adds groups of decimals until a place is held or the rest is zero.
  void extendBeyond(int place)
  {
    while (place >= length_ && low_ < words_) {
      uint64_t carry = 0;
      for (int i = low_; i < words_; ++i) {
        carry += uint64_t{word_[i]} * kGroup;
        word_[i] = static_cast<uint32_t>(carry);
        carry >>= kWordBits;
      }
      writeGroup(static_cast<uint32_t>(carry), digits_ + length_);
      length_ += kGroupDigits;
      dropZeros();
    }
  }

  // After the integral digits come the words from low_ to words_: the fraction that is not in digits yet.
  uint32_t word_[kWordsMax + 3];
  int low_ = 0;
  int words_ = 0;
  int integral_ = 0;
  int length_ = 0;
  char digits_[kIntegralDigitsMax + kFractionDigitsMax + 2 * kGroupDigits];
};

}  // namespace

namespace {

/// What most doubles are printed with: one to three decimals of a value below 2^31 that is not very small. The fraction
/// times a power of ten fits 64 bits then.
bool isShort(double magnitude, int decimals)
{
  return decimals >= 1 && decimals <= 3 && magnitude < 0x1p31 && magnitude >= 0x1p-10;
}

char *writeShort(char *out, double magnitude, int decimals)
{
  constexpr uint32_t kPowers[] = {1, 10, 100, 1000};
  const Parts parts(magnitude);
  const auto bits = static_cast<unsigned>(-parts.shift);
  // isShort() has bounded the exponent, so that there are at most 62 bits.
  const uint64_t unit = uint64_t{1} << bits;  // NOLINT(clang-analyzer-core.UndefinedBinaryOperatorResult)
  const uint64_t scaled = (parts.mantissa & (unit - 1)) * kPowers[decimals];
  const uint64_t rest = scaled & (unit - 1);
  auto integral = static_cast<uint32_t>(parts.mantissa >> bits);
  auto fraction = static_cast<uint32_t>(scaled >> bits);
  if (rest > unit / 2 || (rest == unit / 2 && fraction % 2 == 1)) {
    ++fraction;
  }
  if (fraction == kPowers[decimals]) {
    fraction = 0;
    ++integral;
  }
  out = std::to_chars(out, out + 10, integral).ptr;
  *out++ = '.';
  for (int i = decimals - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
  }
  return out + decimals;
}

}  // namespace

char *writeFixed(char *out, double magnitude, int decimals)
{
  if (isShort(magnitude, decimals)) {
    return writeShort(out, magnitude, decimals);
  }
  ExactDigits digits(magnitude);
  const int integral = digits.integral();
  const bool carried = digits.roundBefore(integral + decimals);
  if (carried) {
    *out++ = '1';
  } else if (integral == 0) {
    *out++ = '0';
  }
  out = digits.copy(0, integral, out);
  if (decimals > 0) {
    *out++ = '.';
    out = digits.copy(integral, integral + decimals, out);
  }
  return out;
}

int writeSignificant(char *out, double magnitude, int count)
{
  ExactDigits digits(magnitude);
  const int first = digits.first();
  const int exponent = magnitude == 0 ? 0 : digits.integral() - 1 - first;
  // What is before the first digit are zeros of the fraction: a carry goes into the last of them.
  const bool carried = digits.roundBefore(first + count) || (first > 0 && digits.at(first - 1) != '0');
  if (carried) {
    *out = '1';
    std::fill_n(out + 1, count - 1, '0');
    return exponent + 1;
  }
  (void)digits.copy(first, first + count, out);
  return exponent;
}

}  // namespace qv::text
