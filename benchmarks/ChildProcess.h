#pragma once

#include <sys/types.h>

#include <functional>

namespace tarn::benchmarks {

/// A copy of this process that does one thing until it is killed: at the latest with this process.
class ChildProcess {
  public:
    /// Make it before any thread of this process exists.
    explicit ChildProcess(const std::function<void()>& work);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t processId() const { return id; }

  private:
    pid_t id;
};

}  // namespace tarn::benchmarks
