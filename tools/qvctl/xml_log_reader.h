// Splits an XML log into its events. The texts in it are not escaped, and any of the tags may occur in them: see
// event_splitter.h for what counts.
#pragma once

#include <string_view>

#include "event_log.h"

namespace qvctl {

constexpr std::string_view kXmlHeader = R"(<?xml-stylesheet type="text/xsl" version="1.0" encoding="UTF-8"?>)";
constexpr std::string_view kXmlBegin = "<EventLog>";
constexpr std::string_view kXmlEnd = "</EventLog>";
constexpr std::string_view kXmlEntry = "<LogEntry>";

/// What of an entry an interrupted append leaves under the old closing tag.
constexpr std::string_view kXmlOverwritten = "<LogEntry><";
static_assert(kXmlOverwritten.size() == kXmlEnd.size());

/// Fills in the events and what is lost, of the log's text.
void splitXmlLog(EventLog &log);

}  // namespace qvctl
