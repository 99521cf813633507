// How a log is split into events, whatever the texts in it hold. A reader of one format finds, anywhere in the log, what
// can only begin an event and what can only end one; this pairs them.
//
// Texts stand in a log as callers gave them, so a begin or an end may lie inside a text. Of what lies before the next
// begin the last end counts, or the first one that something like an event follows at once; a begin without an end belongs to the text around it, if there is one around it. An event
// that a crash cut short has neither, and is left out: what lies between the events is the reader's to judge.
#pragma once

#include <vector>

#include "event.h"

namespace qvctl {

struct EventStart {
  static constexpr size_t kNoText = SIZE_MAX;
  Event event;            // with what stands before its free texts
  size_t body = 0;        // where the free texts begin
  size_t text = kNoText;  // where the description begins
};

struct EventEnd {
  size_t textEnd;  // of the description
  size_t dump;     // of the data
  size_t dumpEnd;
  size_t end;                 // of the event
  bool entryFollows = false;  // something that begins like an event follows at once
};

/// The whole events, in order. Starts are ordered by event.begin, ends by end.
std::vector<Event> pairUp(const std::vector<EventStart> &starts, const std::vector<EventEnd> &ends,
                          std::string_view log);

}  // namespace qvctl
