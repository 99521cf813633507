// UTF-8 and the 16-bit units that the library's files and values hold.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvctl {

/// Nothing when the text is no valid UTF-8.
std::optional<std::u16string> toUtf16(std::string_view text);

/// Surrogates without their other half become U+FFFD.
std::string toUtf8(std::u16string_view text);

/// The units of a file, low byte first. An odd byte at the end is left out.
std::u16string unitsOf(std::string_view bytes);

}  // namespace qvctl
