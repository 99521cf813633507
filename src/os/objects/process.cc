// Process services: shutdown, the keyboard test, and switches that Linux does not need.

#include <sys/select.h>
#include <unistd.h>

#include <cstdlib>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/os_objects.h"

using qv::Status;

SMBool OSShutdown(int16_t, int16_t mode)
{
  const char *command = mode == SM_SHUTDOWN_RESTART ? "/sbin/shutdown -r now &" : "/sbin/shutdown -h now &";
  [[maybe_unused]] const int ignored = system(command);  // the call promises no more than to have asked
  return 1;
}

int32_t SMOSShutdown(int16_t unused, int16_t mode)
{
  return OSShutdown(unused, mode);
}

uint32_t OSkbhit(void)
{
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(STDIN_FILENO, &readable);
  timeval noTime = {0, 0};
  return select(STDIN_FILENO + 1, &readable, nullptr, nullptr, &noTime) > 0 ? 1 : 0;
}

int32_t OSLongFileNamesEnable(void)
{
  return qv::signedResult(Status::success);
}

int32_t OSLongFileNamesDisable(void)
{
  return qv::signedResult(Status::success);
}

QV_ALIAS(SMkbhit, OSkbhit)
QV_ALIAS(SMLongFileNamesEnable, OSLongFileNamesEnable)
QV_ALIAS(SMLongFileNamesDisable, OSLongFileNamesDisable)
