#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <iosfwd>
#include <string>
#include <thread>
#include <vector>

#include "tests/system/OutputLines.h"

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

/// A child process with default signal handling, nothing on its input, and both outputs collected.
/// Destroying it kills the process (not its children) if it still runs.
class Program {
  public:
    /// Throws std::system_error when it cannot be started.
    explicit Program(const std::vector<std::string>& command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t id() const { return child; }
    const OutputLines& output() const { return lines; }
    OutputLines& output() { return lines; }

    void signal(int number) const;

    /// Whoever read its output goes: what it writes from now on reaches nobody.
    void closeOutput();

    /// StillRunning when the bound passes first. The output of an ended program is complete, unless
    /// a child of its own still holds it.
    Ending waitForEnd(std::chrono::milliseconds bound);

  private:
    void start(const std::vector<std::string>& command, int output);
    void collect(const std::stop_token& stop);

    pid_t child = -1;
    int outputPipe = -1;
    Ending ending;
    OutputLines lines;
    std::atomic<bool> readerGoes{false};
    std::jthread collector;
};

}  // namespace tarn::test
