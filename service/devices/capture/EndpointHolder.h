#pragma once

#include <sys/types.h>

#include "service/devices/capture/ProcessControl.h"

namespace tarn::service::devices {

/// Whether a process of this machine has the very socket that answers on an IPC or TCP endpoint.
/// Connects to it, and reads /proc; waits half a second at most. Does not throw.
ProcessControl::Holding holdsEndpoint(pid_t id, const socket::SocketEndpoint& endpoint);

}  // namespace tarn::service::devices
