#include "peers/loop_storage/server/ClientIdentity.h"

#include "platform/os/TrustedListener.h"

namespace tarn::peers::loop_storage {

ClientIdentity ClientIdentity::OfUser(const std::optional<os::PeerUser>& user) {
    if (!user) {
        return ClientIdentity("who asks");
    }
    ClientIdentity identity("user " + std::to_string(user->user));
    if (os::isTrustedListener(user->user)) {  // he may serve, so he may order, too
        identity.given = access::Level::Admin;
    }
    identity.user = user;
    return identity;
}

ClientIdentity ClientIdentity::Anybody() {
    ClientIdentity identity("anybody");
    identity.given = access::Level::Admin;
    return identity;
}

ClientIdentity ClientIdentity::OfCertificate(const access::ClientCertificate& certificate) {
    ClientIdentity identity("client " + certificate.name);
    identity.given = certificate.level;
    identity.tracks = certificate.tracks;
    return identity;
}

access::Level ClientIdentity::level() const {
    if (given) {
        return *given;
    }
    return user ? access::levelOf(*user) : access::Level::None;
}

}  // namespace tarn::peers::loop_storage
