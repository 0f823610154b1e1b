#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {
class TcpProtection;
}

namespace tarn::access {

/// What protects a program's TCP connections, as its configuration or command line says.
struct TcpAccessSettings {
    bool required = false;   ///< without keys, TCP stays within this machine
    std::string keyFile;     ///< the machine's secret key; empty: there are no keys
    std::string clientKeys;  ///< the file with the keys of who may connect; none without keyFile
    std::string serverKey;   ///< the public key of whom is connected to; empty: the machine's own
    std::map<std::string, std::string> serverKeys;  ///< the same for some endpoints ("tcp://...")

    bool hasKeys() const { return !keyFile.empty(); }
};

/// Protects the TCP connections of this process while it lives, and gives its clients the levels of
/// the file. Before threads and sockets that it is to hold for.
class TcpAccess {
  public:
    /// Throws std::runtime_error, keys::KeyFileError where the key cannot be used.
    explicit TcpAccess(const TcpAccessSettings& settings);
    ~TcpAccess();

  private:
    std::unique_ptr<socket::TcpProtection> protection;
};

/// Logs a warning for an endpoint that reaches beyond this machine without keys. Throws
/// std::runtime_error where they are required.
void checkReach(const TcpAccessSettings& settings, const socket::SocketEndpoint& endpoint);

}  // namespace tarn::access
