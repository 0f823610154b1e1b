#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "service/devices/storage/StorageConnection.h"
#include "tests/failing_disk/Chances.h"
#include "tests/failing_disk/Disk.h"
#include "tests/failing_disk/Mount.h"
#include "tests/support/Process.h"

namespace tarn::storage_sequences {

/// What a machine needs to believe that it was started again: a mount namespace of this process's
/// own, in which the file that names the boot is another one. Once in a process, before it has
/// threads.
class Boots {
  public:
    /// Throws std::system_error. The folder is for the file.
    explicit Boots(const std::filesystem::path& folder);

    void next();

  private:
    const std::filesystem::path file;
    unsigned count = 0;
};

/// A machine with a disk that fails and a loop storage server on it.
class Machine {
  public:
    struct Places {
        std::string server;            ///< the program
        std::filesystem::path folder;  ///< empty, for the mount and the socket
        std::uint16_t port = 0;
    };

    Machine(const Places& places, Boots& boots, std::uint64_t seed);

    failing_disk::Disk& disk() { return plates; }
    service::devices::StorageAddress unixAddress() const;
    service::devices::StorageAddress tcpAddress() const;

    void launchServer();
    /// Also waits until it serves; throws std::runtime_error.
    void startServer();
    /// Any thread, while the server was not waited for.
    void strike() const;
    /// Waits for the end of one that was struck, or strikes it.
    void kill();
    /// How it ended; it was told to.
    test::Ending stop();
    bool isUp();

    /// While there is no server. Of what was not synced, `hasReached` says what is there.
    void losePower(const failing_disk::Luck& hasReached);
    /// All of the disk is synced before.
    void reboot();

    std::string log() const;

  private:
    const Places places;
    Boots& boots;
    failing_disk::Disk plates;
    failing_disk::Mount mount;
    std::unique_ptr<test::Process> server;
    std::string logs;
};

}  // namespace tarn::storage_sequences
