/* A program that becomes a daemon and keeps working with the library: the parent's exit must not tear down what the
 * child goes on using, and locks do not cross a fork.
 *
 * usage: daemon FILE.ini */
#include <qvsupt32.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

static int serve(const char *path)
{
  const uint32_t pid = (uint32_t)getpid();
  /* A record lock is the process's own: the child holds none of its parent's, and takes its own. */
  if (SMFileLock(SM_LOCK_WAIT) != 1)
    return 1;
  SMFileUnlock();
  return SMWriteINIPathFileValue("daemon", "pid", SM_INI_TYPE_U32, &pid, sizeof(pid), path, SM_LOCK_WAIT) ==
                 SM_STATUS_SUCCESS
             ? 0
             : 1;
}

int main(int argc, char **argv)
{
  uint32_t written = 0, size = sizeof(written);
  int status = 1, tries;
  pid_t child, launcher;
  if (argc != 2) {
    fprintf(stderr, "usage: daemon FILE.ini\n");
    return 2;
  }
  /* In this example a launcher stands for the shell that waits for the parent of the daemon. */
  launcher = fork();
  if (launcher == 0) {
    SUPTBeforeForkForDaemon(); /* immediately before the fork that makes the daemon */
    child = fork();
    if (child != 0)
      return child < 0 ? 1 : 0; /* the daemon's parent ends, and does not detach the library */
    setsid();
    return serve(argv[1]);
  }
  if (launcher < 0 || waitpid(launcher, &status, 0) != launcher || status != 0)
    return 1;
  for (tries = 0; SMReadINIPathFileValue("daemon", "pid", SM_INI_TYPE_U32, &written, &size, NULL, 0, argv[1],
                                         SM_LOCK_WAIT) != SM_STATUS_SUCCESS;
       ++tries) {
    if (tries == 1000)
      return 1;
    size = sizeof(written);
    usleep(10000);
  }
  printf("the daemon %s its own process\n", written != 0 && written != (uint32_t)launcher ? "is" : "is not");
  return 0;
}
