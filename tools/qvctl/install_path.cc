// See install_path.h.

#include "install_path.h"

#include <cctype>
#include <cstdlib>

namespace qvctl {

std::string installPath(const Product &product)
{
  constexpr size_t kLongest = 254;
  std::string variable = std::string(product.name) + "installpath";
  const char *value = getenv(variable.c_str());
  if (value == nullptr) {
    for (char &letter : variable) {
      letter = static_cast<char>(toupper(letter));
    }
    value = getenv(variable.c_str());
  }
  if (value == nullptr) {
    return product.directory;
  }
  const std::string path = value;
  return path.size() <= kLongest ? path : "";
}

}  // namespace qvctl
