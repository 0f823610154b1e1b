#pragma once

#include <memory>
#include <string>

namespace tarn::socket {
class TcpProtection;
}

namespace tarn::cli {

/// Where keys lie unless they are named: below the user's configuration folder; empty where he has
/// none.
std::string defaultKeyFile();
std::string defaultServerKeyFile();

/// What the command line says; empty: nothing.
struct KeyChoice {
    std::string keyFile;    ///< of the user's secret key
    std::string serverKey;  ///< public, or its file
};

/// What protects the connections over TCP, for as long as it lives; null: nothing. What the command
/// line does not say is in TARN_KEY and TARN_SERVER_KEY, or in the default places. Throws
/// CommandError for keys that were named and cannot be used.
std::unique_ptr<socket::TcpProtection> protectConnections(KeyChoice choice);

}  // namespace tarn::cli
