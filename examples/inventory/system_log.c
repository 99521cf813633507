// The system log is a datagram socket in the file system; each datagram is one message: its priority between angle
// brackets, the time, the identity of the program, and the text.
#include "system_log.h"

#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "print.h"
#include "report.h"
#include "stop.h"

static const char kSide[] = "system log";
static const struct sockaddr_un kAddress = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};

// Receives message after message. The wait for each is short, so that a stop is noticed; it takes effect when nothing
// more is there.
static bool receive(int receiver)
{
  char message[8192];
  for (;;) {
    const ssize_t size = recv(receiver, message, sizeof(message), 0);
    if (size >= 0) {
      (void)printf("%s: received ", kSide);
      printText(stdout, message, (size_t)size);
      (void)putchar('\n');
      (void)fflush(stdout);
    } else if (errno != EAGAIN && errno != EINTR) {
      return false;
    } else if (isToldToStop()) {
      return true;
    }
  }
}

static bool receiveAtAddress(int receiver)
{
  const struct timeval wait = {.tv_usec = 50000};
  if (setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait)) != 0 ||
      bind(receiver, (const struct sockaddr *)&kAddress, sizeof(kAddress)) != 0) {  // fails where another one is
    return false;
  }
  const bool received = receive(receiver);
  const int error = errno;
  (void)unlink(kAddress.sun_path);
  errno = error;
  return received;
}

int runSystemLog(void)
{
  heedSignals();
  const int receiver = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const bool received = receiver >= 0 && receiveAtAddress(receiver);
  if (!received) {
    complain(kSide, "cannot receive at %s: %s", kAddress.sun_path, strerror(errno));
  }
  if (receiver >= 0) {
    (void)close(receiver);
  }
  return received ? EXIT_SUCCESS : EXIT_FAILURE;
}
