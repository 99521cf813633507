// The `text` commands.

#include "command_line.h"

namespace qvctl {

void addTextCommands(CommandLine &, Context &) {}

}  // namespace qvctl
