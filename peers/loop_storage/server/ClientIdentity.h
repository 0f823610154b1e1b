#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/access/ClientCertificates.h"
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

    /// Over TCP with a certificate that it has proved to be its own: what the list says of it.
    static ClientIdentity OfCertificate(const access::ClientCertificate& certificate);

    /// As it is now: the file of groups may change.
    access::Level level() const;
    /// Whether it may use a track like that, as far as it has the level for it.
    bool mayUse(std::int64_t track, access::TrackAccess wanted) const {
        return !tracks || tracks->allows(track, wanted);
    }
    /// Whether there may be tracks that it may not use.
    bool isRestricted() const { return tracks.has_value(); }
    /// In words: "user 1001", "client studio-1".
    const std::string& name() const { return text; }

  private:
    explicit ClientIdentity(std::string text) : text(std::move(text)) {}

    std::string text;
    std::optional<access::Level> given;
    std::optional<os::PeerUser> user;
    std::optional<access::TrackRights> tracks;  ///< nothing: all of them
};

}  // namespace tarn::peers::loop_storage
