#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tarn::os {

/// A process for good: its id, and its start time, which tells it from a later process that was
/// given the same id.
struct ProcessIdentity {
    pid_t id = 0;
    std::uint64_t startTime = 0;  ///< clock ticks since boot; 0 when not known

    /// The calling process.
    static ProcessIdentity ofThisProcess();

    /// The process that has the id now; startTime 0 when there is none.
    static ProcessIdentity of(pid_t id);

    friend bool operator==(const ProcessIdentity&, const ProcessIdentity&) = default;
};

/// False when the id is gone, is a zombie, or belongs to a process with another start time. An
/// unknown start time fits every process that has the id. Reads /proc; any thread.
bool isAlive(const ProcessIdentity& process);

}  // namespace tarn::os
