// The `doctor` command.

#include "command_line.h"

namespace qvctl {

void addDoctorCommand(CommandLine &, Context &) {}

}  // namespace qvctl
