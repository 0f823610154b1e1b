#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/os/NameClaim.h"

namespace tarn::socket {

/// The right to bind a socket on a path, held while that is done. The messaging library removes
/// whatever is in its way; so one claims first that nobody else's file is.
class IpcPathClaim {
  public:
    /// Throws std::runtime_error, without the path in it, when a file is there that is no socket or
    /// that another user made, whom the message names, when somebody listens on the path, or when
    /// another process of this user holds a claim on it. The socket file of somebody who is gone
    /// may be replaced, and so may a named pipe of this user's: that is how a name is kept from
    /// others before anybody listens.
    explicit IpcPathClaim(const std::string& path);

  private:
    const os::NameClaim name;
};

/// errno of an attempt to connect to the IPC socket at the path, which is closed again at once; 0
/// when it is accepted. Does not wait. Throws std::runtime_error when no attempt can be made.
int knockOnIpcPath(const std::string& path);

/// Which process listens at the path, by the kernel's word on this very socket: 0 for one that has
/// no id here, since it lives in another process namespace; nothing when nobody accepts. It may
/// have ended since, and left the socket to a child. Does not wait. Throws std::runtime_error when
/// no attempt can be made.
std::optional<pid_t> listenerOnIpcPath(const std::string& path);

}  // namespace tarn::socket
