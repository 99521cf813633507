// Where the suite is installed, worked out as the library does when it is loaded, for commands that do not load it.
#pragma once

#include <string>

namespace qvctl {

struct Product {
  const char *name;       // in lower case
  const char *directory;  // unless the environment names another one
};

/// The library's own product.
inline constexpr Product kVela = {"vela", "/etc/tallowmere/vela"};
inline constexpr Product kCorvane = {"corvane", "/etc/tallowmere/corvane"};
inline constexpr Product kRoot = {"zkroot", "/etc/tallowmere"};

/// The directory of a product. Empty where the environment names one that is too long: the library has none then.
std::string installPath(const Product &product = kVela);

}  // namespace qvctl
