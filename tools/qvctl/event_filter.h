// Which events a command is about.
#pragma once

#include <vector>

#include "event.h"

namespace qvctl {

struct EventFilter {
  std::vector<uint32_t> types;  // any of them; none: all
  std::optional<std::string> source;
  std::optional<uint32_t> id;
  std::optional<int64_t> since;  // both included; an event of unknown time is in no span
  std::optional<int64_t> until;
  std::optional<std::string> words;  // in the description
  std::optional<uint32_t> last;

  bool passes(const Event &event) const;

  /// The last ones of those that pass, oldest first.
  std::vector<const Event *> select(const std::vector<Event> &events) const;
};

}  // namespace qvctl
