#pragma once

#include <cstdint>
#include <string>

namespace tarn::peers::storage_elements {

/// Where a loop storage server listens.
struct Location {
    std::string address;     ///< a host, or the path of a Unix socket
    std::uint16_t port = 0;  ///< 0: a Unix socket
    // Over TCP, encrypted; or both empty.
    std::string certificate = {};  ///< the file of the client's
    std::string fingerprint = {};  ///< of the server's
};

/// From "unix:PATH" or "tcp:HOST:PORT"; an IPv6 address stands in brackets. Throws
/// std::invalid_argument.
Location parseLocation(const std::string& text);

}  // namespace tarn::peers::storage_elements
