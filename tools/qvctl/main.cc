// qvctl: what an administrator does with the files, logs and shared objects of libqvsupt32, without writing C.
//
// Results go to stdout and nothing else does; the exit status says how it went (failure.h). The program ends by _exit
// once its output is written: an ordinary end would unload the library, whose detach waits for the file lock.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

#include "command_line.h"

namespace {

using qvctl::Exit;

Exit run(int count, char **arguments)
{
  qvctl::Context context;
  try {
    qvctl::CommandLine commands(context);
    qvctl::addIniCommands(commands, context);
    qvctl::addKvCommands(commands, context);
    qvctl::addSdoCommands(commands, context);
    qvctl::addLogCommands(commands, context);
    qvctl::addTextCommands(commands, context);
    qvctl::addLockCommands(commands, context);
    qvctl::addObjectCommands(commands, context);
    qvctl::addDoctorCommand(commands, context);
    const Exit status = commands.run(count, arguments);
    context.output.flush();
    return status;
  } catch (const qvctl::Failure &failure) {
    if (*failure.what() != '\0') {  // a reader that left, see Output::flush()
      qvctl::complain(failure.what());
    }
    if (failure.status() == Exit::usage) {
      qvctl::complain("'qvctl --help' lists the commands, 'qvctl COMMAND --help' explains one");
    }
    return failure.status();
  } catch (const std::bad_alloc &) {
    qvctl::complain("out of memory");
  } catch (const std::exception &error) {
    qvctl::complain(error.what());
  }
  return Exit::failed;
}

/// A standard descriptor that is closed would become that of the next file, which the output would end up in. Reading
/// from and writing to what takes its place fails.
void openStandardDescriptors()
{
  constexpr int kFailing[] = {O_WRONLY, O_RDONLY, O_RDONLY};
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      (void)open("/dev/null", kFailing[descriptor]);  // takes the lowest free number, which is this one
    }
  }
}

}  // namespace

int main(int count, char **arguments)
{
  openStandardDescriptors();
  // A reader that went away is a failed write, not a death that leaves no status.
  signal(SIGPIPE, SIG_IGN);
  _exit(static_cast<int>(run(count, arguments)));
}
