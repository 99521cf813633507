// See install_path.h.

#include "install_path.h"

#include <cstdlib>

namespace qvctl {

std::string installPath()
{
  constexpr size_t kLongest = 255;
  for (const char *variable : {"velainstallpath", "VELAINSTALLPATH"}) {
    if (const char *const value = getenv(variable); value != nullptr) {
      std::string path = value;
      return path.size() <= kLongest ? path : std::string();
    }
  }
  return "/etc/tallowmere/vela";
}

}  // namespace qvctl
