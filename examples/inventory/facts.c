// The facts that stand alone: names from uname(2), the processors, and what /proc says about memory and uptime.
#include "facts.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "lines.h"
#include "text.h"

static bool collectNames(Facts *facts)
{
  struct utsname names;
  if (uname(&names) != 0) {
    return true;
  }
  facts->hostName = makeText(names.nodename);
  facts->kernelName = makeText(names.sysname);
  facts->kernelRelease = makeText(names.release);
  facts->kernelVersion = makeText(names.version);
  facts->machine = makeText(names.machine);
  return facts->hostName != NULL && facts->kernelName != NULL && facts->kernelRelease != NULL &&
         facts->kernelVersion != NULL && facts->machine != NULL;
}

// What stands behind "key", blanks and a colon; null when the line has another key.
static const char *valueOfLine(const char *line, const char *key)
{
  const size_t length = strlen(key);
  if (strncmp(line, key, length) != 0) {
    return NULL;
  }
  const char *value = line + length + strspn(line + length, " \t");
  return *value == ':' ? value + 1 + strspn(value + 1, " \t") : NULL;
}

static bool collectProcessorModel(Facts *facts)
{
  LineReader reader;
  if (!openLines(&reader, "/proc/cpuinfo")) {
    return true;
  }
  const char *line;
  const char *model = NULL;
  while (model == NULL && (line = nextLine(&reader)) != NULL) {  // every processor repeats the line
    model = valueOfLine(line, "model name");
  }
  const bool enough = model == NULL || (facts->processorModel = makeText(model)) != NULL;
  return closeLines(&reader) && enough;
}

static bool collectProcessors(Facts *facts)
{
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  facts->processorsOnline = online > 0 ? (uint32_t)online : 0;
  facts->loadKnown = getloadavg(&facts->load, 1) == 1;
  return collectProcessorModel(facts);
}

// The number that a text begins with; unknown when it begins with none or with one beyond 64 bits.
static OptionalNumber leadingNumber(const char *text)
{
  if (*text < '0' || *text > '9') {
    return (OptionalNumber){.known = false};
  }
  errno = 0;
  const unsigned long long value = strtoull(text, NULL, 10);
  return (OptionalNumber){.known = errno == 0, .value = value};
}

static bool collectMemory(Facts *facts)
{
  const struct {
    const char *key;
    OptionalNumber *fact;
  } sizes[] = {
      {"MemTotal", &facts->memoryTotal}, {"MemFree", &facts->memoryFree}, {"MemAvailable", &facts->memoryAvailable},
      {"SwapTotal", &facts->swapTotal},  {"SwapFree", &facts->swapFree},
  };
  LineReader reader;
  if (!openLines(&reader, "/proc/meminfo")) {
    return true;
  }
  const char *line;
  while ((line = nextLine(&reader)) != NULL) {
    for (size_t i = 0; i < sizeof(sizes) / sizeof(sizes[0]); ++i) {
      const char *kibibytes = valueOfLine(line, sizes[i].key);
      if (kibibytes != NULL) {
        *sizes[i].fact = leadingNumber(kibibytes);
        sizes[i].fact->value *= 1024;
      }
    }
  }
  return closeLines(&reader);
}

static bool collectUptime(Facts *facts)
{
  LineReader reader;
  if (!openLines(&reader, "/proc/uptime")) {
    return true;
  }
  const char *line = nextLine(&reader);
  if (line != NULL) {
    facts->uptime = leadingNumber(line);
  }
  return closeLines(&reader);
}

bool collectFacts(Facts *facts)
{
  facts->collected = time(NULL);
  return collectNames(facts) && collectProcessors(facts) && collectMemory(facts) && collectUptime(facts) &&
         collectInterfaces(facts) && collectFileSystems(facts);
}

void freeFacts(Facts *facts)
{
  free(facts->hostName);
  free(facts->kernelName);
  free(facts->kernelRelease);
  free(facts->kernelVersion);
  free(facts->machine);
  free(facts->processorModel);
  for (size_t i = 0; i < facts->interfaceCount; ++i) {
    free(facts->interfaces[i].name);
    free(facts->interfaces[i].hardwareAddress);
  }
  free(facts->interfaces);
  for (size_t i = 0; i < facts->fileSystemCount; ++i) {
    free(facts->fileSystems[i].device);
    free(facts->fileSystems[i].mountPoint);
    free(facts->fileSystems[i].type);
  }
  free(facts->fileSystems);
  *facts = (Facts){0};
}
