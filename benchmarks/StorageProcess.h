#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace tarn::benchmarks {

/// A tarnLoopStorage of its own, on a Unix socket, with its tracks in a folder that goes with it.
class StorageProcess {
  public:
    /// Serves when this returns; throws when it does not within 10 s.
    StorageProcess();
    ~StorageProcess();
    StorageProcess(const StorageProcess&) = delete;
    StorageProcess& operator=(const StorageProcess&) = delete;

    std::string socketPath() const { return (folder / "socket").string(); }

    /// Creates tracks until there are that many, each with a property.
    void growTo(std::size_t tracks);

  private:
    void start();
    void awaitServing() const;

    const std::filesystem::path folder;
    pid_t process = -1;
    std::size_t created = 0;
};

}  // namespace tarn::benchmarks
