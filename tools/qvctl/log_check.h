// What is wrong with a log file: what a reader loses, and what keeps the library from writing on. And the sound file
// that can be made of it.
#pragma once

#include <string>
#include <vector>

#include "event_log.h"

namespace qvctl {

struct Finding {
  uint64_t where;  // offset in the file
  std::string what;
};

/// `bytes` are the file's. A file of no format is one finding.
std::vector<Finding> checkLog(std::string_view bytes);

/// The file with its whole events and nothing else.
std::string repairedLog(std::string_view bytes, LogFormat format);

/// A log that holds one event of the library's own, as the library begins a log: by "Local System", from "VELA".
std::string newLog(LogFormat format, uint32_t id, std::string_view description);

}  // namespace qvctl
