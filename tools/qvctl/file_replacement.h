// Putting whole files in place in one step: whatever happens to the program or the machine, a file has its old content
// or its new one.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvctl {

/// Writes a file under a name of its own and gives it the old one's name once it is on the disk. Keeps the owner of a
/// file that exists. Follows symbolic links. What is no regular file, such as a terminal, is written to. Throws a
/// Failure.
void replaceFile(const std::string &path, std::string_view content, unsigned mode);

/// The same, and gives the old content another name, which may be that of an older file: at every instant the path has
/// the old content or the new.
void replaceFile(const std::string &path, std::string_view content, unsigned mode, const std::string &nameOfOld);

/// Gives a file a second name "PATH.SUFFIX.N", the first that is free, and returns it. Where the file system has no
/// second names, that is a copy. Throws a Failure.
std::string keepBeside(const std::string &path, const std::string &suffix);

}  // namespace qvctl
