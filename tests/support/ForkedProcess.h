#pragma once

#include <sys/types.h>

#include <functional>

#include "platform/os/ProcessIdentity.h"

namespace tarn::test {

/// A copy of this process that does one thing and then waits until it is killed: at the latest with
/// this object or this process. Make it before any thread of this process exists.
class ForkedProcess {
  public:
    /// Throws std::system_error when there is no room for it. `work` that throws ends the copy.
    explicit ForkedProcess(const std::function<void()>& work = [] {});
    ~ForkedProcess();
    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;

    pid_t id() const { return child; }
    os::ProcessIdentity identity() const { return os::ProcessIdentity::of(child); }

    void killAndLeaveZombie();
    void killAndReap();

  private:
    pid_t child;
};

}  // namespace tarn::test
