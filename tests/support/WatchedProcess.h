#pragma once

#include <sys/types.h>

#include <chrono>

#include "platform/os/FileDescriptor.h"

namespace tarn::test {

/// Waits on an existing process, of whomever.
class WatchedProcess {
  public:
    /// Throws std::system_error when there is none.
    explicit WatchedProcess(pid_t id);

    /// False when the bound passed first.
    bool waitForEnd(std::chrono::milliseconds bound = std::chrono::seconds(15)) const;
    bool isRunning() const { return !waitForEnd(std::chrono::milliseconds(0)); }
    void signal(int number) const;
    pid_t id() const { return processId; }

  private:
    pid_t processId;
    os::FileDescriptor descriptor;
};

}  // namespace tarn::test
