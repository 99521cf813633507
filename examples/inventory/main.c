// inventory: facts of this machine travel as a typed object from one process to another.
//
// The receiver makes a room to meet in and starts the sender, which is this program too. The sender collects the facts,
// builds an object of them and leaves its flat binary form in the room. The receiver reads, rebuilds, prints and edits
// it, and answers with a checksum. It logs what happens in the event logs of the machine.
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "parameters.h"
#include "receiver.h"
#include "sender.h"
#include "system_log.h"

enum { kExitUsage = 2 };

// Sees to it that no lock file takes the place of a standard stream that this program was started without.
static bool openStandardStreams(void)
{
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) {
    (void)close(descriptor);  // one more than was needed
  }
  return descriptor >= 0;
}

// Takes the arguments without the program's name.
static int run(int count, char *const *arguments)
{
  Parameters parameters;
  if (!readParameters(count, arguments, &parameters)) {
    explainUsage(stderr);
    return kExitUsage;
  }
  switch (parameters.role) {
    case kSender:
      return runSender(&parameters);
    case kSystemLog:
      return runSystemLog();
    default:
      return runReceiver(&parameters, count, arguments);
  }
}

int main(int count, char **arguments)
{
  if (!openStandardStreams()) {
    (void)fputs("inventory: cannot open /dev/null\n", stderr);
    return EXIT_FAILURE;
  }
  (void)signal(SIGPIPE, SIG_IGN);  // a reader that has gone is reported where the write fails
  (void)signal(SIGCHLD, SIG_DFL);  // ignored, it would take the sender's exit status away
  const int status = count > 0 ? run(count - 1, arguments + 1) : run(0, NULL);
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    (void)fputs("inventory: cannot write to standard output\n", stderr);
    return status == EXIT_SUCCESS ? EXIT_FAILURE : status;
  }
  return status;
}
