#include "platform/socket/TcpProtection.h"

#include <arpa/inet.h>

#include <cstdint>
#include <utility>

#include "platform/socket/curve/Authentication.h"
#include "platform/socket/curve/ProtectionState.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

// Never destroyed: sockets in static objects may be opened while the process exits.
utils::Synchronised<std::shared_ptr<TcpProtection::State>>& ofProcess() {
    static auto& instance = *new utils::Synchronised<std::shared_ptr<TcpProtection::State>>;
    return instance;
}

// A name may begin like an address.
bool isLoopback(const std::string& host) {
    in_addr address{};
    constexpr std::uint32_t loopbackNetwork = 127;
    const bool isNumeric = ::inet_pton(AF_INET, host.c_str(), &address) == 1;
    return (isNumeric && ntohl(address.s_addr) >> 24U == loopbackNetwork) || host == "localhost" ||
           host == "[::1]";
}

std::string textOf(const SocketEndpoint& endpoint) {
    return endpoint.toString(Protocol::None);
}

}  // namespace

TcpProtection::TcpProtection(TcpSecurity security)
    : shared(std::make_shared<State>(std::move(security))) {
    if (shared->security.own && shared->security.clients) {
        authentication = std::make_unique<Authentication>(shared);
    }
}

TcpProtection::~TcpProtection() {
    auto current = ofProcess().lock();
    if (*current == shared) {
        current->reset();
    }
}

void TcpProtection::protectProcess() {
    *ofProcess().lock() = shared;
}

std::shared_ptr<TcpProtection::State> TcpProtection::OfProcess() {
    return *ofProcess().lock();
}

bool isBeyondThisMachine(const SocketEndpoint& endpoint) {
    return endpoint.transport() == Transport::Tcp && !isLoopback(endpoint.host());
}

std::string refusalOfPlain(const SocketEndpoint& endpoint) {
    return textOf(endpoint) +
           " reaches beyond this machine and is refused: Security is required, and there are no "
           "keys (\"tarnctl keys generate\" makes them)";
}

std::string warningOfPlain(const SocketEndpoint& endpoint) {
    return textOf(endpoint) +
           " reaches beyond this machine without encryption, and whoever reaches it may do "
           "everything: Security names no keys";
}

}  // namespace tarn::socket
