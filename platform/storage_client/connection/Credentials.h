#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace tarn::storage_client {

/// With what a connection over TCP is protected.
struct Protection {
    std::string certificateFile;  ///< own key and certificate
    std::string fingerprint;      ///< of the server's certificate
};

/// How the process shows itself to servers over TCP, and by what it knows them. Any thread.
///
/// Once it has a certificate, or knows any server's, no connection over TCP goes without: a server
/// that is not known is refused instead of being spoken to in the clear.
class Credentials {
  public:
    Credentials() = default;
    /// What a process has that was told nothing else: TARN_STORAGE_CERTIFICATE names the file of
    /// its key and certificate, TARN_STORAGE_SERVERS is the fingerprint of every server, or names a
    /// file with a line "HOST:PORT FINGERPRINT" for each.
    static Credentials& OfProcess();

    void useCertificate(const std::string& file);
    /// Throws Failure for what is no fingerprint.
    void knowServer(const std::string& host, std::uint16_t port, const std::string& fingerprint);
    void knowServersOf(const std::string& fingerprintOrFile);

    /// Nothing: the connection goes without. Throws Failure where it may not.
    std::optional<Protection> find(const std::string& host, std::uint16_t port) const;

  private:
    /// Empty: it is not known. Caller holds the mutex.
    std::string fingerprintOf(const std::string& server) const;

    mutable std::mutex mutex;  // guards what follows
    std::string certificateFile;
    std::map<std::string, std::string> servers;  ///< fingerprints by "HOST:PORT"
    std::string others;                          ///< a fingerprint, or a file
};

/// "host:7000", "[::1]:7000".
std::string nameOfServer(const std::string& host, std::uint16_t port);

}  // namespace tarn::storage_client
