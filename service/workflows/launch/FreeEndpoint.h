#pragma once

namespace tarn::socket {
class SocketEndpoint;
}

namespace tarn::service {

/// Whether one can listen on the endpoint: tries it, and leaves it again. Who listens there already
/// notices nothing.
bool isFreeEndpoint(const socket::SocketEndpoint& endpoint);

}  // namespace tarn::service
