#pragma once

#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "tests/failing_disk/Disk.h"

struct fuse_session;

namespace tarn::failing_disk {

/// A Disk as a folder for real programs, as long as this lives. Nothing of it is kept in the
/// kernel's memory: each read is the disk's. Destroying it cuts off who still uses it.
///
/// Who makes it must not use the folder itself from a thread that a program on the disk waits for.
class Mount {
  public:
    /// The folder must be there. `luck` decides what of a failed sync has reached the disk; several
    /// threads ask it. Throws std::system_error.
    Mount(Disk& disk, const std::filesystem::path& folder, Luck luck);
    ~Mount();
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;

    /// Whether this machine lets this process make one; why not, otherwise.
    static bool isPossible(std::string& reason);

    /// Of all the requests under way, so many may be slow before one is held up by others.
    static constexpr int threads = 32;

  private:
    struct EndSession {
        void operator()(fuse_session* session) const;
    };
    struct Server;

    void serve() const;

    const std::filesystem::path folder;
    const std::unique_ptr<Server> server;
    const std::unique_ptr<fuse_session, EndSession> session;
    std::vector<std::jthread> workers;
};

}  // namespace tarn::failing_disk
