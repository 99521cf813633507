// Facts of the machine that this process runs on, as plain C values. An unavailable one (a file that a container
// lacks, a path that may not be looked at) is marked as unknown, never guessed. Texts are UTF-8, sizes are bytes.
//
// The collectors return false, and errno says why, when memory is short or reading fails midway: an incomplete
// collection is not taken for a small machine. freeFacts() takes what they have collected in that case, too.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

typedef struct OptionalNumber {
  bool known;
  uint64_t value;
} OptionalNumber;

typedef struct Interface {
  char *name;
  uint32_t index;
  bool up;
  char *hardwareAddress;  // as colon-separated hexadecimal bytes; null when there is none
  uint32_t mtu;           // 0 when unknown
} Interface;

typedef struct FileSystem {
  char *device;
  char *mountPoint;
  char *type;
  bool examined;  // when not, nothing below is known
  bool readOnly;
  uint64_t totalSize;  // 0 for a file system without storage, such as /proc
  uint64_t freeSize;
  uint64_t availableSize;  // to users without privileges
} FileSystem;

typedef struct Facts {
  time_t collected;
  char *hostName;  // this and the texts below are null when unknown
  char *kernelName;
  char *kernelRelease;
  char *kernelVersion;
  char *machine;
  char *processorModel;
  uint32_t processorsOnline;  // 0 when unknown
  bool loadKnown;
  double load;            // processes that ran or wanted to, on an average of the last minute
  OptionalNumber uptime;  // seconds
  OptionalNumber memoryTotal;
  OptionalNumber memoryFree;
  OptionalNumber memoryAvailable;
  OptionalNumber swapTotal;
  OptionalNumber swapFree;
  Interface *interfaces;
  size_t interfaceCount;
  FileSystem *fileSystems;
  size_t fileSystemCount;
} Facts;

// Collects everything into facts, which start zeroed.
bool collectFacts(Facts *facts);

// Parts of collectFacts().
bool collectInterfaces(Facts *facts);
bool collectFileSystems(Facts *facts);

void freeFacts(Facts *facts);
