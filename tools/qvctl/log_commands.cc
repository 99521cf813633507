// The `log` commands.

#include "command_line.h"

namespace qvctl {

void addLogCommands(CommandLine &, Context &) {}

}  // namespace qvctl
