#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace tarn::os {

/// The process at the other end of a Unix socket, by the kernel's word: who it was when it
/// connected, whatever it has become or handed the socket to since.
struct PeerUser {
    uid_t user = 0;
    gid_t group = 0;
    pid_t process = 0;          ///< 0 for one that has no id here
    std::vector<gid_t> groups;  ///< supplementary ones

    friend bool operator==(const PeerUser&, const PeerUser&) = default;
};

/// Nothing when the descriptor is no connected Unix socket. Any thread.
std::optional<PeerUser> peerUserOf(int socket);

}  // namespace tarn::os
