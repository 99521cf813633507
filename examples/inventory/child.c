// Starting and ending the second process. The library opens its files close-on-exec, so that the new program has none of
// this one's locks.
#include "child.h"

#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "report.h"

bool startChild(Child *child, int count, char *const *arguments, char *lastArgument)
{
  static char kName[] = "inventory";
  char **all = calloc((size_t)count + 3, sizeof(*all));  // the name, the last argument and a null besides
  if (all == NULL) {
    return false;
  }
  all[0] = kName;
  memcpy(all + 1, arguments, (size_t)count * sizeof(*all));
  all[count + 1] = lastArgument;
  *child = (Child){0};
  const int error = posix_spawn(&child->process, "/proc/self/exe", NULL, NULL, all, environ);
  free(all);
  errno = error;
  return error == 0;
}

bool hasEnded(Child *child)
{
  if (!child->ended) {
    child->ended = waitpid(child->process, &child->status, WNOHANG) == child->process;
  }
  return child->ended;
}

void endChild(Child *child, uint32_t milliseconds)
{
  for (uint32_t waited = 0; waited < milliseconds && !hasEnded(child); ++waited) {
    (void)usleep(1000);  // cut short by a signal, it is a look more
  }
  if (!hasEnded(child)) {
    (void)kill(child->process, SIGKILL);  // it is our child and not yet waited for, so it can be killed
  }
  while (!hasEnded(child)) {
    (void)usleep(1000);
  }
}

bool hasSucceeded(const Child *child)
{
  return child->ended && WIFEXITED(child->status) && WEXITSTATUS(child->status) == EXIT_SUCCESS;
}

void complainOfEnd(const Child *child, const char *side, const char *subject, const char *behind)
{
  if (WIFSIGNALED(child->status)) {
    complain(side, "%s was killed by signal %d%s", subject, WTERMSIG(child->status), behind);
  } else {
    complain(side, "%s ended with exit status %d%s", subject, WEXITSTATUS(child->status), behind);
  }
}
