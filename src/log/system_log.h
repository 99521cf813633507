// What the system log keeps between calls.
#pragma once

namespace qv::log {

/// Frees the identity of the last message: the library is unloaded.
void freeIdentity();

}  // namespace qv::log
