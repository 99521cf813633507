// What the system log keeps between calls.
#pragma once

namespace qv::log {

/// Frees the identity of the last message: the library is unloaded.
void freeIdentity();

/// For a child after a fork: no thread of its own is sending a message.
void clearGate();

}  // namespace qv::log
