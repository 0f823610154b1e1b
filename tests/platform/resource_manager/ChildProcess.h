#pragma once

#include <sys/types.h>

#include <functional>

#include "platform/os/ProcessIdentity.h"

namespace tarn::resource_manager::test {

/// A forked child that runs `body` and then waits until it is killed. Killed and reaped at the end
/// at the latest. Fork before the test starts threads.
class ChildProcess {
  public:
    explicit ChildProcess(const std::function<void()>& body = [] {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    os::ProcessIdentity identity() const { return os::ProcessIdentity::of(id); }

    void killAndLeaveZombie();
    void killAndReap();

  private:
    pid_t id;
};

}  // namespace tarn::resource_manager::test
