// The host's name for the logs, which record it with every event.
#pragma once

#include <cstdint>

#include "base/status.h"

namespace qv::net {

/// GetIPHostName.
Status getHostName(char *buffer, uint32_t *size);

}  // namespace qv::net
