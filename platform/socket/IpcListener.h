#pragma once

#include <string>

#include "platform/os/FileDescriptor.h"
#include "platform/socket/Audience.h"

namespace tarn::socket {

/// Begins to listen at a path that is free, as an IpcPathClaim says while it is held: a socket file
/// that somebody left there is replaced. The new one is closed to everybody else until it is its
/// audience's, and lets nobody in before that, so at no moment can anybody reach it who may not.
///
/// Who comes while nobody accepts waits in a queue of `backlog`.
///
/// Where the group of clients does not exist, or the file cannot be given to it, it stays with this
/// process's user. Throws std::runtime_error, without the path in it; nothing is left then.
os::FileDescriptor listenOnIpcPath(const std::string& path, Audience audience, int backlog = 100);

}  // namespace tarn::socket
