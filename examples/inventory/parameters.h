// What the command line asks for, as name=value parameters.
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

// Where the sender is to be killed, so that one sees what the receiver makes of it.
typedef enum Death {
  kNoDeath,
  kDeathInTheRoom,       // with the mutex, before there is a block
  kDeathWithoutAnEvent,  // with the mutex and a block that is not announced
} Death;

// What this process is.
typedef enum Role {
  kReceiver,   // the first process
  kSender,     // the second
  kSystemLog,  // a stand-in for the machine's
} Role;

typedef struct Parameters {
  uint32_t language;  // identifier
  bool store;
  bool corrupt;
  Death death;
  uint16_t patience;  // steps of about a millisecond
  const char *room;
  Role role;
} Parameters;

// What the second process gets beside the parameters of the first.
extern char kSenderArgument[];

// Reads the parameters, count of them, and takes the default of each that is not there. False, and what is wrong has
// been said, for a parameter that is unknown, malformed or there twice.
bool readParameters(int count, char *const *arguments, Parameters *parameters);

void explainUsage(FILE *stream);
