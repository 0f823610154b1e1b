#pragma once

#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// Keeps the name of an IPC endpoint from other users until the one that it is meant for listens
/// there: a named pipe of this user's stands at its path. Whoever binds through IpcPathClaim, as
/// Socket does, takes its place; others cannot, in a folder like /tmp.
class KeptIpcName {
  public:
    /// Does nothing for other transports, and where there is a file already or none can be made:
    /// whom one talks to is looked at anyway.
    explicit KeptIpcName(const SocketEndpoint& endpoint);
    ~KeptIpcName();  ///< removes the pipe if nobody has taken its place
    KeptIpcName(const KeptIpcName&) = delete;
    KeptIpcName& operator=(const KeptIpcName&) = delete;

  private:
    std::string path;  // empty where none was made
};

}  // namespace tarn::socket
