#pragma once

#include <sys/types.h>

#include <compare>
#include <optional>
#include <string>
#include <utility>

#include "platform/socket/Peer.h"

namespace tarn::socket {

/// Somebody whose connections, messages and jobs are counted together: a user of this machine, an
/// address beyond it, or who has a key.
struct Visitor {
    enum class Kind { User, Address, Key };

    Kind kind = Kind::User;
    uid_t user = 0;
    std::string text = {};  ///< the address or the public key

    static Visitor OfUser(uid_t user) { return {.kind = Kind::User, .user = user}; }
    static Visitor AtAddress(std::string address) {
        return {.kind = Kind::Address, .text = std::move(address)};
    }

    /// "user 1001", "address 10.0.0.7", "key 7&G(...".
    std::string describe() const;

    friend auto operator<=>(const Visitor&, const Visitor&) = default;
};

/// Who is at the other end of an accepted connection. Nothing for who is not counted: root, this
/// process's own user, and this machine over TCP, of whose users the kernel does not tell.
std::optional<Visitor> visitorOn(int connection);

/// The same for who sent a message; by his key where he has one.
std::optional<Visitor> visitorOf(const Peer& sender);

}  // namespace tarn::socket
