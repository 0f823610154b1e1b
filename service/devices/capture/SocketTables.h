#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <string>

struct sockaddr_storage;

namespace tarn::service::devices {

/// Sockets as the open descriptors of a process show them: "socket:[inode]".
using SocketLinks = std::set<std::string>;

/// The address of a TCP socket as the kernel's tables have it: hexadecimal digits, an IPv4 address
/// also where it is an IPv6 socket's.
struct TableAddress {
    std::string host;
    std::uint16_t port = 0;

    static TableAddress of(const sockaddr_storage& address);
    friend bool operator==(const TableAddress&, const TableAddress&) = default;
};

/// The sockets that are bound to this path in the network namespace of the process. Empty when it
/// cannot be looked into, and for a path with a blank in it.
SocketLinks ipcSocketsAt(const std::string& path, pid_t seenBy);

/// The two ends of a TCP connection.
struct TableConnection {
    TableAddress local;
    TableAddress remote;
};

/// The sockets that listen where this connection was accepted, in the network namespace of the
/// process. Empty when that end of the connection is not there: it is on another machine, in
/// another namespace, or behind a translation of addresses.
SocketLinks tcpListenersOf(const TableConnection& accepted, pid_t seenBy);

}  // namespace tarn::service::devices
