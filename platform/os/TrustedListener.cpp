#include "platform/os/TrustedListener.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/os/PeerUser.h"
#include "platform/os/UserName.h"

namespace tarn::os {

namespace {

std::string whoIsTrusted(std::string_view alsoTrusted) {
    auto text = "and only root, this process's own user and " + std::string(serviceUser);
    return (alsoTrusted.empty() ? text : text + " and " + std::string(alsoTrusted)) +
           " are trusted to listen";
}

}  // namespace

bool isTrustedListener(uid_t user, std::string_view alsoTrusted) {
    if (user == 0 || user == ::geteuid()) {
        return true;
    }
    const auto name = userNameOf(user);
    return !name.empty() && (name == serviceUser || name == alsoTrusted);
}

std::optional<std::string> whyOwnerNotTrusted(uid_t owner, std::string_view alsoTrusted) {
    if (isTrustedListener(owner, alsoTrusted)) {
        return std::nullopt;
    }
    return "it belongs to " + describeUser(owner) + ", " + whoIsTrusted(alsoTrusted);
}

std::optional<std::string> whyNotTrusted(const std::string& path, std::string_view alsoTrusted) {
    struct stat file {};
    return ::lstat(path.c_str(), &file) == 0 ? whyOwnerNotTrusted(file.st_uid, alsoTrusted)
                                             : std::nullopt;
}

std::optional<std::string> whyNotTrusted(int connected, std::string_view alsoTrusted) {
    const auto peer = peerUserOf(connected);
    if (!peer || isTrustedListener(peer->user, alsoTrusted)) {
        return std::nullopt;
    }
    return describeUser(peer->user) + " listens there, " + whoIsTrusted(alsoTrusted);
}

}  // namespace tarn::os
