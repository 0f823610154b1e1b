#include "service/devices/capture/SocketTables.h"

#include <fmt/format.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string_view>
#include <vector>

namespace tarn::service::devices {

namespace {

constexpr std::string_view mappedPrefix = "0000000000000000FFFF0000";
constexpr std::string_view anyIpv4 = "00000000";
constexpr std::string_view anyIpv6 = "00000000000000000000000000000000";

std::string linkOf(const std::string& inode) {
    return "socket:[" + inode + "]";
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words;
}

using Row = std::vector<std::string>;

void forEachRow(pid_t seenBy, const char* table, const std::function<void(const Row&)>& look) {
    std::ifstream file("/proc/" + std::to_string(seenBy) + "/net/" + table);
    for (std::string line; std::getline(file, line);) {
        look(wordsOf(line));
    }
}

std::string wordAt(const in6_addr& address, std::size_t offset) {
    std::uint32_t word = 0;
    std::memcpy(&word, address.s6_addr + offset, sizeof word);
    return fmt::format("{:08X}", word);
}

std::string withoutMapping(const std::string& host) {
    return host.starts_with(mappedPrefix) ? host.substr(mappedPrefix.size()) : host;
}

TableAddress parseAddress(const std::string& text) {
    const auto colon = text.rfind(':');
    return {withoutMapping(text.substr(0, colon)),
            static_cast<std::uint16_t>(std::stoul("0" + text.substr(colon + 1), nullptr, 16))};
}

// "number: address:port remote:port state ... inode ...".
struct TcpSocket {
    static constexpr std::size_t columns = 10;
    explicit TcpSocket(const Row& row)
        : local(parseAddress(row[1])),
          remote(parseAddress(row[2])),
          listens(row[3] == "0A"),
          link(linkOf(row[9])) {}

    TableAddress local;
    TableAddress remote;
    bool listens;
    std::string link;
};

std::vector<TcpSocket> tcpSockets(pid_t seenBy, std::uint16_t port) {
    std::vector<TcpSocket> sockets;
    for (const auto* const table : {"tcp", "tcp6"}) {
        forEachRow(seenBy, table, [&](const Row& row) {
            const bool isHeading = row.size() < TcpSocket::columns || row[1] == "local_address";
            if (!isHeading && parseAddress(row[1]).port == port) {
                sockets.emplace_back(row);
            }
        });
    }
    return sockets;
}

SocketLinks listenersAt(const std::vector<TcpSocket>& sockets, std::string_view host) {
    SocketLinks links;
    for (const auto& socket : sockets) {
        if (socket.listens && socket.local.host == host) {
            links.insert(socket.link);
        }
    }
    return links;
}

}  // namespace

TableAddress TableAddress::of(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET) {
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, &address, sizeof ipv4);
        return {fmt::format("{:08X}", ipv4.sin_addr.s_addr), ntohs(ipv4.sin_port)};
    }
    sockaddr_in6 ipv6{};
    std::memcpy(&ipv6, &address, sizeof ipv6);
    std::string host;
    for (std::size_t offset = 0; offset < sizeof ipv6.sin6_addr; offset += 4) {
        host += wordAt(ipv6.sin6_addr, offset);
    }
    return {withoutMapping(host), ntohs(ipv6.sin6_port)};
}

// "address: references protocol flags type state inode path".
SocketLinks ipcSocketsAt(const std::string& path, pid_t seenBy) {
    constexpr std::size_t inode = 6;
    constexpr std::size_t name = 7;
    SocketLinks links;
    forEachRow(seenBy, "unix", [&](const Row& row) {
        if (row.size() > name && row[name] == path) {
            links.insert(linkOf(row[inode]));
        }
    });
    return links;
}

// Of several that listen on the port, the kernel prefers the one that is bound to the address.
SocketLinks tcpListenersOf(const TableConnection& accepted, pid_t seenBy) {
    const auto sockets = tcpSockets(seenBy, accepted.local.port);
    const bool isHere = std::any_of(sockets.begin(), sockets.end(), [&](const TcpSocket& socket) {
        return socket.local == accepted.local && socket.remote == accepted.remote;
    });
    if (!isHere) {
        return {};
    }
    for (const auto host : {std::string_view(accepted.local.host), anyIpv4, anyIpv6}) {
        if (auto links = listenersAt(sockets, host); !links.empty()) {
            return links;
        }
    }
    return {};
}

}  // namespace tarn::service::devices
