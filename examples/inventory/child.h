// The second process: this program, executed anew.
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

typedef struct Child {
  pid_t process;
  bool ended;
  int status;  // how it ended, as waitpid(2) tells it
} Child;

// Starts this program with the arguments, count of them, and one more. False, and errno says why, when it cannot be
// started.
bool startChild(Child *child, int count, char *const *arguments, char *lastArgument);

// Whether the process has ended; does not wait for it.
bool hasEnded(Child *child);

// Waits for the process to end, and kills it when it has not done so after a number of milliseconds.
void endChild(Child *child, uint32_t milliseconds);

// True when the process ended by itself and with success.
bool hasSucceeded(const Child *child);

// Says how the process ended, as a line "SUBJECT was killed by signal 9 BEHIND".
void complainOfEnd(const Child *child, const char *side, const char *subject, const char *behind);
