// Splits a text log into its events: see event_splitter.h for what counts. Lines end as the library ends them, or in a
// line feed alone, for files that went through an editor.
#pragma once

#include <string_view>

#include "event_log.h"

namespace qvctl {

/// After the byte-order mark.
constexpr std::string_view kTextHeader =
    "#-------------------------------\r\n"
    "# Do not remove this block\r\n"
    "# This data file is parsed\r\n"
    "#------------------------------- \r\n"
    "\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // as UTF-8
constexpr size_t kTextHeaderBytes = 256;                     // in the file, the mark included

/// A text, which is valid, as it stands in the file.
std::string textFileBytes(std::string_view text);

/// Fills in the text, the events and what is lost, of the file's bytes.
void splitTextLog(EventLog &log, std::string_view bytes);

}  // namespace qvctl
