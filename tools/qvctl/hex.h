// Bytes as lower-case hexadecimal digits, and back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvctl {

std::string toHex(std::string_view bytes);

/// Nothing unless the text is pairs of digits, of either case.
std::optional<std::string> fromHex(std::string_view digits);

}  // namespace qvctl
