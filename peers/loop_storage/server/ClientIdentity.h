#pragma once

#include <optional>
#include <string>

#include "platform/access/Level.h"
#include "platform/os/PeerUser.h"

namespace tarn::peers::loop_storage {

/// Who a client is, never by what it says of itself, and what that lets it do. A value; any thread.
class ClientIdentity {
  public:
    /// Over a Unix socket, by the kernel's word. Root, this process's own user and the one that the
    /// services run as are admin, others what their groups say; who is not known has no level.
    static ClientIdentity OfUser(const std::optional<os::PeerUser>& user);
    /// Over TCP without certificates everybody is admin.
    static ClientIdentity Anybody();

    /// As it is now: the file of groups may change.
    access::Level level() const;
    /// In words: "user 1001".
    const std::string& name() const { return text; }

  private:
    explicit ClientIdentity(std::string text) : text(std::move(text)) {}

    std::string text;
    std::optional<access::Level> given;
    std::optional<os::PeerUser> user;
};

}  // namespace tarn::peers::loop_storage
