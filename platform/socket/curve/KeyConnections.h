#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "platform/socket/KeyPolicy.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket::curve {

/// The connections that others have made to this process's protected ports. The messaging library
/// can neither list nor end them, so that is done beside it, on their descriptors. Any thread.
class KeyConnections {
  public:
    /// From now on connections to the local port are of this entrance.
    void addPort(std::uint16_t port, Entrance entrance);

    /// Who sent a message by the connection of this descriptor, by his proven key.
    void note(int descriptor, const std::string& key);

    /// Ends the connections whose key `isKept` does not want, and those of whom nothing is known,
    /// since nothing has come by them yet: they lose nothing, and connect again if they may. Gives
    /// how many.
    using IsKept = std::function<bool(const std::string& key, Entrance entrance)>;
    std::size_t endUnless(const IsKept& isKept);

  private:
    struct Sender {
        std::uint64_t connection;  // the kernel's number of it: descriptors are used again
        std::string key;
    };
    struct Known {
        std::map<std::uint16_t, Entrance> ports;
        std::map<int, Sender> senders;  // by descriptor, so there are never more than of these
    };

    bool endUnless(const IsKept& isKept, int descriptor);

    utils::Synchronised<Known> known;
};

}  // namespace tarn::socket::curve
