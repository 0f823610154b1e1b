#include "platform/socket/PublishingEndpoint.h"

#include <limits>
#include <stdexcept>

namespace tarn::socket {

SocketEndpoint publishingEndpointFor(const SocketEndpoint& events) {
    const bool hasNextPort = events.port() < std::numeric_limits<std::uint16_t>::max();
    if (events.transport() == Transport::Ipc) {
        // Made from text again, so that a name that is too long now is refused.
        return SocketEndpoint::FromString(events.toString(Protocol::None) + ".pub");
    }
    if (events.transport() == Transport::Tcp && hasNextPort) {
        return {Transport::Tcp, events.host(), static_cast<std::uint16_t>(events.port() + 1)};
    }
    throw std::invalid_argument("nothing follows " + events.toString(Protocol::None) +
                                ": say where to publish");
}

}  // namespace tarn::socket
