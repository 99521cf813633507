// What the inventory tells the event logs of the machine: the text log, the XML log and the system log.
#pragma once

#include <stdint.h>

#include "block.h"

// Events, numbered as the texts of the suite that describe them.
typedef enum Event {
  kEventStarted = 2001,
  kEventEnded = 2002,
  kEventRefused = 2003,  // a block
  kEventAccepted = 2004,
} Event;

// Writes an event of a type (SM_EVENT_...) to all three logs, in a language, with the beginning of a block where one is
// given. An event that cannot be logged is complained about, and nothing else: the work goes on.
void logEvent(const char *side, uint32_t language, uint16_t type, Event event, const Block *block);
