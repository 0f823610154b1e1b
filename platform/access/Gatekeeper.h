#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/access/Level.h"
#include "platform/socket/Peer.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::access {

/// The level of who sent a message: the one place where what a connection says of its peer becomes
/// what he may do. This process itself is admin; so is, over TCP, everybody who did not have to
/// prove a key.
Level levelOf(const socket::Peer& peer);

/// Whether it is root, or a program of this process's own user: by IPC no member of any group is.
bool isOwnProgram(const socket::Peer& peer);

/// Lets requests pass by who sent them. What does not pass is logged, once a second at most. One
/// thread at a time.
class Gatekeeper {
  public:
    /// `header` stands in front of each line.
    explicit Gatekeeper(std::string header,
                        utils::RepeatedFailure::Now now = std::chrono::steady_clock::now);

    /// Why who sent a request may not make it; nothing where he may. `request` names it in the log.
    std::optional<std::string> refusal(Level needed, const socket::Peer& sender,
                                       std::string_view request);

    /// The same for requests that only programs of this process's own user make.
    std::optional<std::string> refusalOfOthers(const socket::Peer& sender,
                                               std::string_view request);

  private:
    std::string refuse(const std::string& reason, std::string_view request);

    const std::string header;
    utils::RepeatedFailure refused;
};

}  // namespace tarn::access
