#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "platform/tls/CertifiedKey.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// The built server with certificates, two tracks (0 and 1), and clients that have theirs.
class TlsStorage {
  public:
    static constexpr std::int64_t trackSize = 16'000'000;

    TlsStorage();

    /// Makes a certificate, which is in no list yet; its fingerprint.
    std::string generate(const std::string& name);
    /// The same, with other times, from now on.
    std::string generate(const std::string& name, std::chrono::hours begin, std::chrono::hours end);
    /// Writes the list of clients anew, and waits for nobody: lines as they are to stand there.
    void list(const std::string& lines) const;
    /// A line of a client whose certificate was made.
    std::string line(const std::string& level, const std::string& name,
                     const std::string& tracks = {}) const;

    /// For a StorageClient with the certificate of that name.
    TlsAddress as(const std::string& name) const;
    std::string file(const std::string& name) const { return (folder.path() / name).string(); }

    std::uint16_t port() const { return server->port(); }
    StorageProgram& program() { return *server; }
    /// By the Unix socket, where the test's own user may all.
    std::string socketPath() const { return server->socketPath(); }

  private:
    const TemporaryFolder folder;
    std::map<std::string, std::string> fingerprints;
    std::unique_ptr<StorageProgram> server;
};

}  // namespace tarn::test
