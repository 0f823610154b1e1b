#include "service/workflows/launch/FreeEndpoint.h"

#include <exception>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::service {

bool isFreeEndpoint(const socket::SocketEndpoint& endpoint) {
    try {
        socket::Socket probe("Probe of an endpoint", socket::ClosePolicy::Discard);
        probe.createAndConnect(socket::Protocol::Reply, endpoint, 0);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace tarn::service
