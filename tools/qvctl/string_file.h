// String-resource files: looking a text up as the library does, and finding the lines that no lookup finds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvctl {

/// The lines as the library reads them: up to a line end, or 1023 units where there is none so soon.
std::vector<std::u16string_view> stringLines(std::u16string_view units);

/// Whether a file begins as one has to.
bool isStringFile(std::string_view content);

/// The text of an identifier in a language, or else in the default language. The languages 437 and 1033 are the default
/// language. The first line that holds the key anywhere is the entry, and its text follows the last "=".
std::optional<std::u16string> findString(const std::vector<std::u16string_view> &lines, uint32_t language, uint32_t id);

struct StringFinding {
  size_t line;  // from 1
  std::string what;
};

std::vector<StringFinding> checkStrings(const std::vector<std::u16string_view> &lines);

}  // namespace qvctl
