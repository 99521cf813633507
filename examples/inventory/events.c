// One call of the library writes an event to the three logs. The texts come from the suite's file of texts by number,
// "qvunidat.txt" in its directory "ini": no word of an event stands in this program.
#include "events.h"

#include <inttypes.h>
#include <stddef.h>

#include "qvsupt32.h"
#include "report.h"

enum {
  kSourceName = 2000,    // the number of the text that names this program
  kTextCapacity = 1024,  // units; a line of the file has fewer
  kDataSizeMax = 32768,  // bytes that an event takes; a block can be larger
};

// Reads a text. Where it is not there in the language, the default language's is delivered; where the file is missing,
// a text that says so. Where there is none at all the text is empty, and the logs refuse it.
static void readString(uint32_t stringID, uint32_t language, SMChar16 text[kTextCapacity])
{
  uint32_t size = kTextCapacity * sizeof(*text);
  text[0] = 0;
  (void)SMGetUCS2StrFromID(stringID, &language, text, &size);
}

void logEvent(const char *side, uint32_t language, uint16_t type, Event event, const Block *block)
{
  SMChar16 source[kTextCapacity];
  SMChar16 description[kTextCapacity];
  readString(kSourceName, language, source);
  readString(event, language, description);
  const uint8_t *data = block == NULL ? NULL : block->bytes;
  uint32_t size = block == NULL ? 0 : block->size;
  size = size < kDataSizeMax ? size : kDataSizeMax;
  const uint8_t logs = SMLOG_OSSYSLOG | SMLOG_UNITXT | SMLOG_XML;
  const uint32_t status = SMAppendToLog(logs, type, event, source, description, data, size);
  if (status != SM_STATUS_SUCCESS) {
    complain(side, "cannot log event %d: status %" PRIu32, (int)event, status);
  }
}
