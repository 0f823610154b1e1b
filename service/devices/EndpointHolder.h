#pragma once

#include <sys/types.h>

#include "service/devices/ProcessControl.h"

namespace tarn::service::devices {

/// Whether a process of this machine has a socket that is bound to an IPC or TCP endpoint. Reads
/// /proc.
ProcessControl::Holding holdsEndpoint(pid_t id, const socket::SocketEndpoint& endpoint);

}  // namespace tarn::service::devices
