// The receiver as a process of its own: this program, executed anew, between two pipes.
#pragma once

#include <stdbool.h>
#include <sys/types.h>

// The receiver reads blocks from its standard input and writes its answer to this descriptor; its standard output stays
// free for what it has to say to people.
enum { kAnswerDescriptor = 3 };

typedef struct Child {
  pid_t process;
  int toChild;  // -1 when closed, like the other
  int fromChild;
} Child;

// False, and errno says why, when the receiver cannot be started.
bool startReceiver(Child *child);

// Tells the receiver that nothing more comes.
void endInput(Child *child);

// Closes both pipes, waits for the receiver's end and stores how it ended, as waitpid(2) tells it. False, and errno
// says why, when that cannot be learnt.
bool waitForReceiver(Child *child, int *status);
