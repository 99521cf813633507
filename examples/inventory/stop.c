// Signals, noted in the one kind of variable that a handler may write to.
#include "stop.h"

#include <signal.h>

static volatile sig_atomic_t toldToStop;

static void noteStop(int signal)
{
  (void)signal;
  toldToStop = 1;
}

void heedSignals(void)
{
  (void)signal(SIGHUP, noteStop);  // these are signals, so they can be handled
  (void)signal(SIGINT, noteStop);
  (void)signal(SIGTERM, noteStop);
}

bool isToldToStop(void)
{
  return toldToStop != 0;
}
