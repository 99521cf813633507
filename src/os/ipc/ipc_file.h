// What a forked child has to put right in the IPC file's state.
#pragma once

namespace qv {

/// For a child after a fork: no thread of its own opens the IPC file.
void clearIpcGate();

}  // namespace qv
