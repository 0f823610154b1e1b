#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "tests/support/MachineTime.h"

namespace tarn::test {

/// Waits on an existing process, of whomever.
class WatchedProcess {
  public:
    /// Throws std::system_error when there is none.
    explicit WatchedProcess(pid_t id);

    /// False when the bound passed first.
    bool waitForEnd(std::chrono::milliseconds bound = std::chrono::seconds(15)) const;
    bool isRunning() const { return !waitForEnd(std::chrono::milliseconds(0)); }
    void signal(int signal) const;
    pid_t id() const { return processId; }

  private:
    const pid_t processId;
    const tarn::os::FileDescriptor descriptor;
};

/// A child of the test: one of the built programs by its name. Killed at the end.
class StartedProgram {
  public:
    explicit StartedProgram(const std::string& name, const std::vector<std::string>& arguments);
    ~StartedProgram();
    StartedProgram(const StartedProgram&) = delete;
    StartedProgram& operator=(const StartedProgram&) = delete;

    /// Nothing when the bound passed first; -1 for an end by a signal.
    std::optional<int> exitStatus(std::chrono::milliseconds bound = std::chrono::seconds(15));
    const WatchedProcess& process() const { return watched; }

  private:
    const WatchedProcess watched;
    std::optional<int> status;
};

/// Asks again and again, every few milliseconds, until the condition holds or the bound has passed.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds bound = std::chrono::seconds(15));

/// The same with a bound that is a promise, in MachineTime.
template <typename Condition>
bool eventuallyWithin(std::chrono::milliseconds bound, Condition condition);

void pauseBetweenTries();

template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        pauseBetweenTries();
    }
    return true;
}

template <typename Condition>
bool eventuallyWithin(std::chrono::milliseconds bound, Condition condition) {
    const MachineTime time;
    while (!condition()) {
        if (time.elapsed() >= bound) {
            return false;
        }
        pauseBetweenTries();
    }
    return true;
}

}  // namespace tarn::test
