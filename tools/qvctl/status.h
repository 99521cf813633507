// The library's statuses as an administrator reads them.
#pragma once

#include <cstdint>
#include <string>

namespace qvctl {

/// "key not found (263, SM_STATUS_KEY_NOT_FOUND)"; -1 is shown as -1. A number that is no status of the library is
/// shown by itself.
std::string describeStatus(uint32_t status);

/// The same with words that fit the command better.
std::string describeStatus(uint32_t status, const std::string &words);

}  // namespace qvctl
