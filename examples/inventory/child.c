// Starting and ending the receiver. Every descriptor is close-on-exec, so the receiver gets just the two pipe ends that
// are placed for it.
#include "child.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stddef.h>
#include <sys/wait.h>
#include <unistd.h>

typedef struct Pipe {
  int readEnd;
  int writeEnd;
} Pipe;

static bool openPipe(Pipe *opened)
{
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return false;
  }
  *opened = (Pipe){.readEnd = ends[0], .writeEnd = ends[1]};
  return true;
}

static void closeEnd(int *end)
{
  if (*end >= 0) {
    (void)close(*end);  // a pipe has nothing left to report at its close
    *end = -1;
  }
}

// Returns 0 or an error number, as posix_spawn(3) does. The standard streams are open, so no pipe end is descriptor 0,
// and placing the first end cannot overwrite the second.
static int spawn(pid_t *process, int input, int output)
{
  static char kName[] = "inventory";
  static char kMode[] = "receive";
  char *arguments[] = {kName, kMode, NULL};
  posix_spawn_file_actions_t actions;
  int error = posix_spawn_file_actions_init(&actions);
  if (error != 0) {
    return error;
  }
  error = posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  if (error == 0) {
    error = posix_spawn_file_actions_adddup2(&actions, output, kAnswerDescriptor);
  }
  if (error == 0) {
    error = posix_spawn(process, "/proc/self/exe", &actions, NULL, arguments, environ);
  }
  (void)posix_spawn_file_actions_destroy(&actions);  // it cannot fail
  return error;
}

bool startReceiver(Child *child)
{
  Pipe blocks = {.readEnd = -1, .writeEnd = -1};
  Pipe answers = {.readEnd = -1, .writeEnd = -1};
  const bool opened = openPipe(&blocks) && openPipe(&answers);
  const int error = opened ? spawn(&child->process, blocks.readEnd, answers.writeEnd) : errno;
  // These are the receiver's alone, so that the death of either side ends the pipes of the other.
  closeEnd(&blocks.readEnd);
  closeEnd(&answers.writeEnd);
  if (error != 0) {
    closeEnd(&blocks.writeEnd);
    closeEnd(&answers.readEnd);
    errno = error;
    return false;
  }
  child->toChild = blocks.writeEnd;
  child->fromChild = answers.readEnd;
  return true;
}

void endInput(Child *child)
{
  closeEnd(&child->toChild);
}

bool waitForReceiver(Child *child, int *status)
{
  closeEnd(&child->toChild);
  closeEnd(&child->fromChild);
  while (waitpid(child->process, status, 0) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  return true;
}
