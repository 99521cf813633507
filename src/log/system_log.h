// The system log for the front end.
#pragma once

#include <cstdint>

#include "log/event.h"

namespace qv::log {

/// OSAppendToSysLog, as a number: the conversions' statuses are its own.
uint32_t appendToSystemLog(const Event &event);

/// For a child after a fork: no thread of its own is sending a message.
void clearGate();

}  // namespace qv::log
