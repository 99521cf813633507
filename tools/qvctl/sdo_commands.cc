// The `sdo` commands.

#include "command_line.h"

namespace qvctl {

void addSdoCommands(CommandLine &, Context &) {}

}  // namespace qvctl
