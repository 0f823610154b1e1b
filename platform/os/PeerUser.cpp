#include "platform/os/PeerUser.h"

#include <sys/socket.h>

#include <cerrno>

namespace tarn::os {

namespace {

// A process cannot change them meanwhile: they were noted when it connected.
std::vector<gid_t> groupsOf(int socket) {
    std::vector<gid_t> groups(32);
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    if (result != 0 && errno == ERANGE) {
        groups.resize(size / sizeof(gid_t));
        result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    }
    groups.resize(result == 0 ? size / sizeof(gid_t) : 0);
    return groups;
}

bool isOfUnix(int socket) {
    int domain = 0;
    socklen_t size = sizeof domain;
    return ::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
}

}  // namespace

std::optional<PeerUser> peerUserOf(int socket) {
    constexpr auto nobody = static_cast<uid_t>(-1);
    ucred peer{};
    socklen_t size = sizeof peer;
    if (!isOfUnix(socket) || ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        peer.uid == nobody) {
        return std::nullopt;
    }
    return PeerUser{
        .user = peer.uid, .group = peer.gid, .process = peer.pid, .groups = groupsOf(socket)};
}

}  // namespace tarn::os
