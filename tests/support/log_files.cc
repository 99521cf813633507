#include "support/log_files.h"

#include <ctime>

// The library's call after the redirection for 64-bit times.
#ifdef __i386__
int64_t testTime(int64_t *seconds) asm("__time64");
#else
int64_t testTime(int64_t *seconds) asm("time");
#endif

int64_t testTime(int64_t *seconds)
{
  int64_t now = support::fixedTime;
  if (now == 0) {
    timespec real;
    clock_gettime(CLOCK_REALTIME, &real);
    now = real.tv_sec;
  }
  if (seconds != nullptr) {
    *seconds = now;
  }
  return now;
}
