#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tarn::test {

/// How a program ended, and what it wrote.
struct ProcessResult {
    int exitStatus = -1;  ///< -1 when a signal ended it
    int signal = 0;       ///< 0 when it exited
    std::string out;
    std::string err;
    std::chrono::milliseconds duration{};  ///< from its start to its end
};

/// A program that runs beside the test, with an empty input and its outputs caught. Killed at the
/// end if it still runs. Used by one thread.
class Process {
  public:
    /// Starts it; a name without a slash is looked up in PATH. `environment` is added to the test's
    /// own. Throws std::system_error when it cannot be started.
    explicit Process(const std::vector<std::string>& command,
                     const std::map<std::string, std::string>& environment = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return pid; }
    void signal(int number) const;

    /// Waits until what it wrote holds `part`; false when the bound passed, or it ended, without.
    bool waitForOut(const std::string& part, std::chrono::milliseconds bound = defaultBound);
    bool waitForErr(const std::string& part, std::chrono::milliseconds bound = defaultBound);

    /// Waits for its end. Kills it when the bound passes: `signal` is 9 then.
    ProcessResult wait(std::chrono::milliseconds bound = defaultBound);

    static constexpr std::chrono::milliseconds defaultBound = std::chrono::seconds(20);

  private:
    struct Pipe {
        int readEnd = -1;
        std::string text;
    };
    using Clock = std::chrono::steady_clock;

    void spawn(const std::vector<std::string>& command,
               const std::map<std::string, std::string>& environment, int outEnd, int errEnd);
    bool waitForText(const Pipe& pipe, const std::string& part, std::chrono::milliseconds bound);
    bool readMore(Clock::time_point until);
    void reap(Clock::time_point until);

    const Clock::time_point started = Clock::now();
    pid_t pid = -1;
    Pipe out;
    Pipe err;
};

/// Runs a program to its end.
ProcessResult runProcess(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {},
                         std::chrono::milliseconds bound = Process::defaultBound);

}  // namespace tarn::test
