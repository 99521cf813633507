// The `kv` commands.

#include "command_line.h"

namespace qvctl {

void addKvCommands(CommandLine &, Context &) {}

}  // namespace qvctl
