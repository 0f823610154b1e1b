#pragma once

namespace tarn::resource_manager {

class RunningJob;

/// Removes the socket files of a dead job's endpoints: a process that was killed leaves them
/// behind. One on which somebody listens stays, and so does a file that is no socket. Any thread;
/// never waits; what cannot be removed is left for the system's administrator.
void removeLeftSockets(const RunningJob& job);

}  // namespace tarn::resource_manager
