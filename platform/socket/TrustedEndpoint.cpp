#include "platform/socket/TrustedEndpoint.h"

#include "platform/os/TrustedListener.h"

namespace tarn::socket {

std::optional<std::string> whyNotTrusted(const SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    if (endpoint.transport() != Transport::Ipc) {
        return std::nullopt;
    }
    const auto address = endpoint.toString(Protocol::Request);
    auto why = os::whyNotTrusted(address.substr(scheme.size()));
    return why ? std::optional("cannot connect to " + address + ": " + *why) : std::nullopt;
}

}  // namespace tarn::socket
