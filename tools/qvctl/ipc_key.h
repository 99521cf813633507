// The System V key that the library makes of a name: the same for a semaphore, an event and a segment.
#pragma once

#include <cstdint>
#include <string>

namespace qvctl {

int32_t ipcKeyOf(const std::string &name);

/// "0xfb8fc9a3", as ipcs(1) shows it
std::string keyText(int32_t key);

}  // namespace qvctl
