#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/socket/SocketEndpoint.h"

using tarn::socket::Protocol;
using tarn::socket::SocketEndpoint;

namespace {

constexpr std::size_t longestMessage = 1000;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool isPrintable(const std::string& text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            return false;
        }
    }
    return true;
}

}  // namespace

// Text is refused with a message that can be logged, or is an endpoint that its own text gives
// again, for whichever role it is rendered.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    SocketEndpoint endpoint;
    try {
        endpoint = SocketEndpoint::FromString(text);
    } catch (const std::invalid_argument& error) {
        const std::string message = error.what();
        require(message.size() < longestMessage && isPrintable(message));
        return 0;
    }
    const auto rendered = endpoint.toString(Protocol::None);
    require(SocketEndpoint::FromString(rendered) == endpoint);
    require(SocketEndpoint::FromString(rendered).toString(Protocol::None) == rendered);
    require(SocketEndpoint(endpoint.transport(), endpoint.host(), endpoint.port()) == endpoint);
    SocketEndpoint::FromString(endpoint.toString(Protocol::Request));
    SocketEndpoint::FromString(endpoint.asPeer().toString(Protocol::Reply));
    return 0;
}
