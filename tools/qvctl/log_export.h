// Events in the forms that other programs read. Each function appends one event to a text.
#pragma once

#include "event.h"

namespace qvctl {

/// A JSON object: {"time":...,"epoch":...,"type":...,"id":...,"source":...,"computer":...,"user":...,"text":...,
/// "data":...}. What the log does not have is left out; U+FFFD stands for what is no UTF-8.
void appendJson(std::string &out, const Event &event);

/// A line of RFC 4180, and the line of names that comes first.
void appendCsv(std::string &out, const Event &event);
void appendCsvHeader(std::string &out);

/// An entry of the journal export format, which systemd-journal-remote(8) takes.
void appendJournal(std::string &out, const Event &event);

/// A text as a JSON string, quotes included.
void appendJsonString(std::string &out, std::string_view text);

/// The length of the UTF-8 sequence at the front of a text that is not empty, 0 when there is none that is valid.
size_t utf8Length(std::string_view text);

bool isUtf8(std::string_view text);

}  // namespace qvctl
