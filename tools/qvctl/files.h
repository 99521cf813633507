// Whole files: reading one, and putting a new one in place in one step.
#pragma once

#include <string>
#include <string_view>

namespace qvctl {

/// Reads a regular file into content. Returns 0 or an errno; what is neither a file nor a directory is never opened, as
/// the library never does, and answers EINVAL.
int readFile(const std::string &path, std::string &content);

/// Whether something of that name exists, a link that leads nowhere included.
bool exists(const std::string &path);

/// The part before the last "/": "." for a path without one or with a leading one only.
std::string directoryOf(const std::string &path);

}  // namespace qvctl
