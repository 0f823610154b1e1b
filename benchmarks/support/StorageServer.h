#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/storage_client/tarn_storage.h"

namespace tarn::benchmarks {

struct DestroyConnection {
    void operator()(tarn_storage_connection* connection) const {
        tarn_storage_connection_destroy(connection);
    }
};
using StorageConnection = std::unique_ptr<tarn_storage_connection, DestroyConnection>;

/// The error object of a benchmark; a call that failed ends it.
class StorageErrors {
  public:
    StorageErrors() : error(tarn_storage_error_create()) {}
    ~StorageErrors() { tarn_storage_error_destroy(error); }
    StorageErrors(const StorageErrors&) = delete;
    StorageErrors& operator=(const StorageErrors&) = delete;

    operator tarn_storage_error*() const { return error; }
    /// Throws std::runtime_error with the last call's message if it failed.
    void check() const;

  private:
    tarn_storage_error* const error;
};

/// A loop storage server of the benchmark's own, in a folder of its own beside which plain files
/// can be put on the same disk.
class StorageServer {
  public:
    /// What goes over TCP: as it is, or within TLS.
    enum class Tcp { Plain, Encrypted };
    explicit StorageServer(Tcp tcp = Tcp::Plain);
    ~StorageServer();
    StorageServer(const StorageServer&) = delete;
    StorageServer& operator=(const StorageServer&) = delete;

    const std::filesystem::path& folder() const { return path; }
    std::string socketPath() const { return (path / "socket").string(); }
    StorageConnection connectUnix() const;
    StorageConnection connectTcp() const;

  private:
    std::vector<std::string> command();

    const std::filesystem::path path;
    const Tcp tcp;
    std::string fingerprint;  // of the server, whose certificate the client shows, too
    pid_t child = -1;
    StorageErrors error;
};

}  // namespace tarn::benchmarks
