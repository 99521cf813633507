// See hex.h.

#include "hex.h"

namespace qvctl {
namespace {

constexpr int digitOf(char digit)
{
  return digit >= '0' && digit <= '9'   ? digit - '0'
         : digit >= 'a' && digit <= 'f' ? digit - 'a' + 10
         : digit >= 'A' && digit <= 'F' ? digit - 'A' + 10
                                        : -1;
}

}  // namespace

std::string toHex(std::string_view bytes)
{
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  digits.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    digits += kDigits[static_cast<unsigned char>(byte) >> 4];
    digits += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return digits;
}

std::optional<std::string> fromHex(std::string_view digits)
{
  if (digits.size() % 2 != 0) {
    return std::nullopt;
  }
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (size_t i = 0; i < digits.size(); i += 2) {
    const int high = digitOf(digits[i]);
    const int low = digitOf(digits[i + 1]);
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    bytes += static_cast<char>(high << 4 | low);
  }
  return bytes;
}

}  // namespace qvctl
