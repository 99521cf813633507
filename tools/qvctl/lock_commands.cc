// The `lock` commands.

#include "command_line.h"

namespace qvctl {

void addLockCommands(CommandLine &, Context &) {}

}  // namespace qvctl
