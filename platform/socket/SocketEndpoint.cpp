#include "platform/socket/SocketEndpoint.h"

#include <arpa/inet.h>
#include <sys/un.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/socket/zmq/SocketRole.h"
#include "platform/utils/Printable.h"

namespace tarn::socket {

namespace {

constexpr std::string_view ipcScheme = "ipc://";
constexpr std::string_view inProcessScheme = "inproc://";
constexpr std::string_view tcpScheme = "tcp://";
constexpr std::string_view ipcFolder = "/tmp/";
constexpr std::string_view everyInterface = "*";
constexpr std::string_view thisMachine = "localhost";
constexpr std::size_t longestName = 255;
constexpr std::size_t longestShown = 120;
constexpr std::size_t longestIpcPath = sizeof(sockaddr_un::sun_path) - 1;

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

bool isHostCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
}

/// Why a text is no endpoint; FromString adds the text.
class BadText : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

std::string ipcPath(std::string_view name) {
    return name.starts_with('/') ? std::string(name) : std::string(ipcFolder).append(name);
}

// One path has one name, whichever way it was written.
std::string ipcName(std::string_view name) {
    if (name.starts_with(ipcFolder)) {
        const auto rest = name.substr(ipcFolder.size());
        if (!rest.empty() && !rest.starts_with('/')) {
            return std::string(rest);
        }
    }
    return std::string(name);
}

SocketEndpoint parseIpc(std::string_view path) {
    if (!path.starts_with('/')) {
        throw BadText("an IPC path begins with a slash");
    }
    if (path.ends_with('/')) {
        throw BadText("the name is missing");
    }
    if (path.size() > longestIpcPath) {
        throw BadText("an IPC path has at most " + std::to_string(longestIpcPath) + " bytes");
    }
    return {Transport::Ipc, std::string(path), 0};
}

SocketEndpoint parseInProcess(std::string_view name) {
    if (name.empty()) {
        throw BadText("the name is missing");
    }
    if (name.size() > longestName) {
        throw BadText("the name is too long");
    }
    return {Transport::InProcess, std::string(name), 0};
}

bool isBracketedAddress(std::string_view host) {
    if (host.size() < 2 || !host.starts_with('[') || !host.ends_with(']')) {
        return false;
    }
    const std::string address(host.substr(1, host.size() - 2));
    in6_addr parsed{};
    return ::inet_pton(AF_INET6, address.c_str(), &parsed) == 1;
}

bool isHost(std::string_view host) {
    if (host == everyInterface || isBracketedAddress(host)) {
        return true;
    }
    return !host.empty() && host.size() <= longestName &&
           std::all_of(host.begin(), host.end(), isHostCharacter);
}

std::uint16_t parsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, port);
    if (failure != std::errc() || rest != end || port == 0) {
        throw BadText("a port from 1 to 65535 is needed");
    }
    return port;
}

SocketEndpoint parseTcp(std::string_view rest) {
    const auto colon = rest.rfind(':');
    if (colon == std::string_view::npos) {
        throw BadText("the port is missing");
    }
    const auto host = rest.substr(0, colon);
    if (!isHost(host)) {
        throw BadText("the host is no name, no address and not \"*\"");
    }
    return {Transport::Tcp, std::string(host), parsePort(rest.substr(colon + 1))};
}

SocketEndpoint parse(std::string_view text) {
    if (std::any_of(text.begin(), text.end(), isControl)) {
        throw BadText("control characters are not allowed");
    }
    if (text.starts_with(ipcScheme)) {
        return parseIpc(text.substr(ipcScheme.size()));
    }
    if (text.starts_with(inProcessScheme)) {
        return parseInProcess(text.substr(inProcessScheme.size()));
    }
    if (text.starts_with(tcpScheme)) {
        return parseTcp(text.substr(tcpScheme.size()));
    }
    throw BadText("it begins with none of ipc://, inproc:// and tcp://");
}

}  // namespace

SocketEndpoint::SocketEndpoint(Transport transport, std::string host, std::uint16_t port)
    : transportValue(transport),
      hostValue(transport == Transport::Ipc ? ipcName(host) : std::move(host)),
      portValue(port) {}

SocketEndpoint SocketEndpoint::FromString(const std::string& text) {
    try {
        return parse(text);
    } catch (const BadText& reason) {
        throw std::invalid_argument("bad endpoint " + tarn::utils::quotedText(text, longestShown) +
                                    ": " + reason.what());
    }
}

std::string SocketEndpoint::toString(Protocol protocol) const {
    switch (transportValue) {
        case Transport::Ipc:
            return std::string(ipcScheme) + ipcPath(hostValue);
        case Transport::InProcess:
            return std::string(inProcessScheme) + hostValue;
        case Transport::Tcp:
            break;
    }
    const SocketEndpoint shown = connects(protocol) ? asPeer() : *this;
    return std::string(tcpScheme) + shown.hostValue + ":" + std::to_string(portValue);
}

SocketEndpoint SocketEndpoint::asPeer() const {
    if (hostValue != everyInterface) {
        return *this;
    }
    return {transportValue, std::string(thisMachine), portValue};
}

}  // namespace tarn::socket
