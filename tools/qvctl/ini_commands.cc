// The `ini` commands.

#include "command_line.h"

namespace qvctl {

void addIniCommands(CommandLine &, Context &) {}

}  // namespace qvctl
