#pragma once

#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

// A named pipe of a user's own keeps the name of an IPC endpoint from other users, in a folder like
// /tmp: whoever binds through IpcPathClaim, as Socket does, takes its place, and others cannot.
// Packages have such pipes made when the machine starts, with mode 0600: they keep their names for
// good. One with mode 0000 is there until somebody has come.

/// Keeps a name until the one that it is meant for listens there.
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

/// The names that were kept for good when this process took them. Any thread.
class NamesKeptForGood {
  public:
    static void Note(const std::string& path);

    /// Puts the pipe back in the place of what this process has made there, with no moment between
    /// in which the name is free. False when the name was not noted, or the pipe cannot be made.
    static bool PutBack(const std::string& path);
};

}  // namespace tarn::socket
