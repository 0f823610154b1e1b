#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace tarn::test {

/// One run of TarnService, with everything it logs from level trace on.
class Service {
  public:
    static constexpr auto program = "/opt/halden/halden-tarn-service/bin/TarnService";

    /// Starts it, by way of another program if need be; does not wait for it.
    explicit Service(const std::vector<std::string>& command = {program});

    /// Waits until it serves requests; false when it does not within 20 s.
    bool waitUntilServing() const;

    /// Waits for a line that holds `text`; false when it does not come.
    bool waitForLog(const std::string& text) const;
    /// The same, among the lines that come after the first `after` ones.
    bool waitForLogAfter(std::size_t after, const std::string& text) const;

    const OutputLines& log() const { return run.output(); }
    std::size_t logLength() const { return run.output().all().size(); }
    bool isRunning() {
        return waitForEnd(std::chrono::milliseconds(0)).how == Ending::How::StillRunning;
    }
    pid_t id() const { return run.id(); }

    void interrupt() const;
    /// Nobody reads its log any more.
    void closeLog() { run.closeOutput(); }
    void signal(int number) const { run.signal(number); }

    Ending waitForEnd(std::chrono::milliseconds bound = std::chrono::seconds(30));

    /// An interrupt and the wait for the end of the shutdown.
    Ending stop();
    void killHard();

  private:
    Process run;
};

}  // namespace tarn::test
