#pragma once

namespace tarn::cell {

/// Refuses, with EPERM, what a process does to another one that it names: signals (asking whether
/// it is there is one, too), limits, the scheduler's settings. Left are the calling process itself
/// and, for signals, its process group, which holds what it has started. From now on, for the
/// calling thread and all that it starts. Throws std::system_error.
void refuseReachingOthers();

}  // namespace tarn::cell
