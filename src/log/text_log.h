// The text log for the front end, which reads the maximum sizes of the logs under the lock of the append.
#pragma once

#include "base/status.h"
#include "log/event.h"

namespace qv::log {

/// AppendToUNITXTLog.
Status appendTextRecord(const char *path, const Event &event, const uint32_t &maximumSize);

/// ClearUNITXTLog.
Status clearTextLog(const char *path, const SMChar16 *source);

}  // namespace qv::log
