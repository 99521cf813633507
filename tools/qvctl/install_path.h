// Where the suite is installed, worked out as the library does when it is loaded, for commands that do not load it.
#pragma once

#include <string>

namespace qvctl {

/// The directory of the library's own product. Empty where the environment names one that is too long: the library has
/// none then.
std::string installPath();

}  // namespace qvctl
