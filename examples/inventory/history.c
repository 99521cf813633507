// The key=value file. The key "run" occurs once a run, oldest first; occurrences are numbered from 0.
#include "history.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "qvsupt32.h"
#include "report.h"

enum { kTextSize = 64, kPathSize = 512 };

static char kRuns[] = "runs";
static char kRun[] = "run";

// False when the suite has no directory.
static bool findHistory(char path[kPathSize])
{
  char directory[256];
  uint32_t size = sizeof(directory);
  if (SMGetInstallPath(directory, &size) != SM_STATUS_SUCCESS) {
    return false;
  }
  (void)snprintf(path, kPathSize, "%s/ini/history.cfg", directory);
  return true;
}

// What the file says: the number of runs, and how many lines for runs it has.
typedef struct History {
  uint32_t runs;
  uint32_t lines;
} History;

static History readHistory(const char *path)
{
  History history = {0};
  uint32_t count;
  CFGUKeyValueEntry *entries = SMCFGGetKeyValueEntries(path, &count);
  const char *runs = CFGUGetKeyValue(entries, count, kRuns, 0);
  if (runs != NULL) {
    history.runs = (uint32_t)strtoul(runs, NULL, 10);
  }
  while (CFGUGetKeyValue(entries, count, kRun, history.lines) != NULL) {
    ++history.lines;
  }
  SMCFGFreeKeyValueEntries(entries, count);
  return history;
}

// Sets an occurrence of a key, adds one when it is the next, removes it when the value is null.
static bool setEntry(const char *side, const char *path, CFGUKeyValueEntry entry, uint32_t occurrence)
{
  const uint32_t status = SMCFGSetKeyValueEntry(path, &entry, occurrence);
  if (status != SM_STATUS_SUCCESS) {
    complain(side, "cannot set \"%s\" in the history: status %" PRIu32, entry.key, status);
  }
  return status == SM_STATUS_SUCCESS;
}

static bool countRun(const char *side, const char *path, uint32_t runs)
{
  char text[kTextSize];
  (void)snprintf(text, sizeof(text), "%" PRIu32, runs);
  return setEntry(side, path, (CFGUKeyValueEntry){.key = kRuns, .value = text}, 0);
}

static bool addRun(const char *side, const char *path, uint32_t checksum, uint32_t lines)
{
  const time_t now = time(NULL);
  char when[kTextSize] = "";
  struct tm parts;
  if (gmtime_r(&now, &parts) != NULL) {
    (void)strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S UTC", &parts);
  }
  char text[2 * kTextSize];
  (void)snprintf(text, sizeof(text), "%s, Adler-32 %08" PRIx32, when, checksum);
  return setEntry(side, path, (CFGUKeyValueEntry){.key = kRun, .value = text}, lines);
}

// The oldest line is always occurrence 0: the others move up.
static bool removeOldest(const char *side, const char *path, uint32_t count)
{
  bool removed = true;
  for (uint32_t i = 0; i < count && removed; ++i) {
    removed = setEntry(side, path, (CFGUKeyValueEntry){.key = kRun}, 0);
  }
  return removed;
}

bool noteRun(const char *side, uint32_t checksum, uint32_t length)
{
  char path[kPathSize];
  if (!findHistory(path) || access(path, F_OK) != 0) {
    say(side, "no history.cfg is there to note the run in");
    return true;
  }
  const History history = readHistory(path);
  const uint32_t lines = history.lines + 1;
  const bool noted = countRun(side, path, history.runs + 1) && addRun(side, path, checksum, history.lines) &&
                     removeOldest(side, path, lines > length ? lines - length : 0);
  if (noted) {
    say(side, "noted run %" PRIu32 " in history.cfg, which keeps %" PRIu32, history.runs + 1, length);
  }
  return noted;
}
