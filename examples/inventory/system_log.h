// A stand-in for the daemon of the system log, for machines that have none: it receives at /dev/log what programs give
// to syslog(3), and prints it.
#pragma once

// Receives until it is told to stop. Returns the exit status of the program.
int runSystemLog(void);
