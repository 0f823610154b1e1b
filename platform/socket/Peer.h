#pragma once

#include <optional>
#include <string>

#include "platform/os/PeerUser.h"
#include "platform/socket/SocketTypes.h"

namespace tarn::socket {

/// Who sent a message: what the kernel and the messaging library know of him, never what he says of
/// himself.
struct Peer {
    /// InProcess: this process itself.
    Transport transport = Transport::InProcess;

    /// Over IPC, always. His supplementary groups are known only while his connection is there.
    std::optional<os::PeerUser> user;

    std::string key;      ///< Over TCP, his public key in Z85 if he proved to have it, else empty.
    std::string address;  ///< Over TCP, numeric.
};

}  // namespace tarn::socket
