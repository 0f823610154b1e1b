#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::test {

/// What a client does with TLS that the client library would not do.
struct RawTls {
    std::string certificate;  ///< file; empty: it shows none
    int newest = 0;           ///< TLS1_2_VERSION, ...; 0: whatever the library knows
};

/// Shakes hands with a server of this machine, greets as a client does, and reads: how it went,
/// "greeted", or what the library says of the failure.
std::string greetBy(const RawTls& how, std::uint16_t port);

/// So many connections that say nothing, or the beginning of something, until they are destroyed.
class SilentClients {
  public:
    SilentClients(std::uint16_t port, std::size_t count, const std::string& beginning);

    /// How many the server has ended by now.
    std::size_t ended() const;

  private:
    std::vector<std::unique_ptr<os::FileDescriptor>> sockets;
};

}  // namespace tarn::test
