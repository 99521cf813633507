// The `object` commands.

#include "command_line.h"

namespace qvctl {

void addObjectCommands(CommandLine &, Context &) {}

}  // namespace qvctl
