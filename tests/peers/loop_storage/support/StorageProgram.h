#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// The built server with a directory, a Unix socket and a TCP port of its own.
class StorageProgram {
  public:
    /// Started when this returns.
    explicit StorageProgram(std::vector<std::string> options = {}, Medium medium = Medium::Disk);

    void start();
    /// Asked to end; its exit status.
    int stop();
    void kill();

    std::string socketPath() const { return (folder.path() / "socket").string(); }
    std::filesystem::path directory() const { return folder.path() / "tracks"; }
    std::uint16_t port() const { return tcpPort; }
    Process& process() { return *program; }
    const TemporaryFolder& place() const { return folder; }

    std::vector<std::string> command() const;

  private:
    const TemporaryFolder folder;
    const std::vector<std::string> options;
    const std::uint16_t tcpPort;
    std::unique_ptr<Process> program;
};

/// A TCP port of this machine that is free at this moment.
std::uint16_t freePort();

/// Sends bytes to the server on a connection of their own; what it answers until it closes, or has
/// not gone on for so long.
std::string pour(const std::string& socketPath, const std::string& bytes,
                 std::chrono::milliseconds patience);

}  // namespace tarn::test
