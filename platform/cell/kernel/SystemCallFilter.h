#pragma once

#include "platform/cell/Cell.h"

namespace tarn::cell {

/// Refuses the calls by which a process looks into others, changes the machine, makes itself a
/// place of its own, or meets the parts of the kernel that media never needs. They fail with EPERM
/// instead of ending the process: libraries try some of them, and go on without. From now on, for
/// the calling thread and all that it starts. Throws std::system_error.
void refuseSystemCalls(LocalSockets localSockets);

}  // namespace tarn::cell
