// The page on which a log is looked through in a browser: one HTML file that needs nothing else. Its template is in
// report/; here the events are put into it, as data that no browser takes for markup.
#pragma once

#include <string>

#include "event_log.h"

namespace qvctl {

std::string makeReport(const EventLog &log, const std::string &name);

}  // namespace qvctl
