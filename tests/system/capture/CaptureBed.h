#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

/// A machine with an ingest service, which the service starts. At the end, what still runs of it is
/// told to stop, and neither shared memory nor a file of it may be left.
class CaptureBed : public SystemTest {
  protected:
    void TearDown() override;

    /// Configures the installed ingest service, or the program of that command line in its place.
    void configureIngest() const;
    void configureIngest(const std::string& commandLine,
                         const std::string& formatFile = persistentFile) const;
    /// One that misbehaves as these options say.
    void configureMisbehaving(const std::string& options) const;

    /// Starts one by hand and waits until it answers.
    static std::unique_ptr<Process> startIngest(const std::vector<std::string>& options);

    struct Lines {
        std::string count;
        std::string fieldMode;
        std::string rate;
    };
    /// Waits until the format is in force.
    static ProcessResult setFormat(const Lines& lines, const std::vector<std::string>& inputs);
    /// Does not wait.
    static ProcessResult orderFormat(const Lines& lines, const std::vector<std::string>& inputs);

    /// "1080i25 uyvy422_8 0": what is in force; why it is not known otherwise.
    static std::string format();

    /// What a reboot leaves of the programs that were killed: no file in a folder that it empties.
    static void emptyAsByAReboot();

    static std::string channelSocket(unsigned channel);
    /// In bytes, as a reader of the channel gets it; 0 when it gets none.
    static std::uintmax_t frameSize(unsigned channel);
    /// One that reads until the channel ends.
    static std::unique_ptr<Process> startReader(unsigned channel);

    static std::vector<pid_t> ingestProcesses();
    static std::vector<pid_t> misbehavingProcesses();
    static std::vector<std::string> sharedMemory();
    static std::size_t descriptorsOf(pid_t process);

    static constexpr auto persistentFile = "/tmp/deltacast.format";
    static constexpr auto endpoint = "ipc:///tmp/deltacast";
};

}  // namespace tarn::test
