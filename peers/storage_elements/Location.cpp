#include "peers/storage_elements/Location.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace tarn::peers::storage_elements {

namespace {

constexpr std::string_view unixPrefix = "unix:";
constexpr std::string_view tcpPrefix = "tcp:";

[[noreturn]] void refuse(const std::string& text) {
    throw std::invalid_argument("'" + text + "' is neither unix:PATH nor tcp:HOST:PORT");
}

std::string hostOf(std::string_view host) {
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return std::string(isBracketed ? host.substr(1, host.size() - 2) : host);
}

Location tcpLocation(const std::string& text) {
    const auto rest = std::string_view(text).substr(tcpPrefix.size());
    const auto colon = rest.rfind(':');
    if (colon == std::string_view::npos || colon == 0) {
        refuse(text);
    }
    Location location{.address = hostOf(rest.substr(0, colon)), .port = 0};
    const auto port = rest.substr(colon + 1);
    const auto result = std::from_chars(port.data(), port.data() + port.size(), location.port);
    if (result.ec != std::errc() || result.ptr != port.data() + port.size() || location.port == 0) {
        refuse(text);
    }
    return location;
}

}  // namespace

Location parseLocation(const std::string& text) {
    if (text.starts_with(tcpPrefix)) {
        return tcpLocation(text);
    }
    if (!text.starts_with(unixPrefix) || text.size() == unixPrefix.size()) {
        refuse(text);
    }
    return {.address = text.substr(unixPrefix.size()), .port = 0};
}

}  // namespace tarn::peers::storage_elements
