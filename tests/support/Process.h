#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <iosfwd>
#include <string>
#include <thread>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "tests/support/OutputLines.h"
#include "tests/support/Spawn.h"
#include "tests/support/WatchedProcess.h"

namespace tarn::test {

/// How a program ended.
struct Ending {
    enum class How { Exited, Signalled, StillRunning };
    How how = How::StillRunning;
    int value = 0;  ///< exit status or signal

    static Ending exited(int status) { return {How::Exited, status}; }
    static Ending signalled(int signal) { return {How::Signalled, signal}; }
    friend bool operator==(const Ending&, const Ending&) = default;
};
std::ostream& operator<<(std::ostream& out, const Ending& ending);

/// How a program ended, and what it wrote.
struct ProcessResult {
    int exitStatus = -1;  ///< -1 when a signal ended it
    int signal = 0;       ///< 0 when it exited
    std::string out;
    std::string err;                       ///< empty when it goes together with `out`
    std::chrono::milliseconds duration{};  ///< from its start to its end
};

/// A child process with default signal handling, nothing on its input, and its outputs collected as
/// they come. Killed at the end (not its children) if it still runs. Used by one thread.
class Process {
  public:
    enum class Outputs { Together, Apart };
    static constexpr std::chrono::milliseconds defaultBound = std::chrono::seconds(20);

    /// A name without a slash is looked up in PATH; `environment` is added to the test's own.
    /// Throws std::system_error when it cannot be started.
    explicit Process(const std::vector<std::string>& command, const Environment& environment = {},
                     Outputs outputs = Outputs::Together);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return child.id(); }
    bool isRunning() { return waitForEnd(std::chrono::milliseconds(0)) == Ending{}; }
    void signal(int number) const;

    /// Both outputs, when they are not apart.
    const OutputLines& output() const { return out.lines; }

    /// Waits until what it wrote holds `part`; false when the bound passed, or it closed its output
    /// without. Of outputs that are together both are the same.
    bool waitForOut(const std::string& part, std::chrono::milliseconds bound = defaultBound) const;
    bool waitForErr(const std::string& part, std::chrono::milliseconds bound = defaultBound) const;

    /// Whoever read its output goes: what it writes from now on reaches nobody.
    void closeOutput();

    /// StillRunning when the bound passes first. The output of an ended program is complete, unless
    /// a child of its own still holds it.
    Ending waitForEnd(std::chrono::milliseconds bound = defaultBound);

    /// Waits for its end. Kills it when the bound passes: `signal` is 9 then.
    ProcessResult wait(std::chrono::milliseconds bound = defaultBound);

  private:
    struct Stream {
        os::FileDescriptor readEnd;
        OutputLines lines;
        void read();
    };
    using Clock = std::chrono::steady_clock;

    pid_t start(const std::vector<std::string>& command, const Environment& environment);
    void collect(const std::stop_token& stop);

    const Clock::time_point started = Clock::now();
    const Outputs outputs;
    Stream out;
    Stream err;
    const WatchedProcess child;
    Ending ending;
    std::atomic<bool> readerGoes{false};
    std::jthread collector;
};

/// Runs a program to its end, its outputs apart.
ProcessResult runProcess(const std::vector<std::string>& command,
                         const Environment& environment = {},
                         std::chrono::milliseconds bound = Process::defaultBound);

}  // namespace tarn::test
