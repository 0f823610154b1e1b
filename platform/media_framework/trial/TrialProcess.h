#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tarn::media_framework {

/// A program in a process group of its own, with the signals of a fresh program, nothing to read
/// and no descriptors but the standard ones. Used by one thread.
class TrialProcess {
  public:
    /// Starts `arguments`, the first of which is the program's path, with `output` as its standard
    /// output and error. Throws std::system_error.
    TrialProcess(std::vector<std::string> arguments, int output);

    /// Kills it and its group, if they still live, and waits for its end.
    ~TrialProcess();
    TrialProcess(const TrialProcess&) = delete;
    TrialProcess& operator=(const TrialProcess&) = delete;

    /// The status as waitpid gives it; nothing when the process still runs after `bound`. Once.
    /// Throws std::system_error.
    std::optional<int> waitForEnd(std::chrono::milliseconds bound);

  private:
    /// What the group still does ends before its id is given back and could name another one.
    int endAndReap();

    pid_t id = -1;  // -1 once it is reaped
};

}  // namespace tarn::media_framework
