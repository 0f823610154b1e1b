#include "platform/socket/zmq/Origin.h"

#include <fcntl.h>

#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/os/FileDescriptor.h"

namespace tarn::socket {

namespace {

// No numeric address begins like that.
constexpr std::string_view ipc = "localhost:";

// How a socket of both families writes an address of the old one.
constexpr std::string_view mapped = "::ffff:";

std::string noteOf(zmq::message_t& frame, const char* name) {
    const char* const note = zmq_msg_gets(frame.handle(), name);
    return note == nullptr ? "" : note;
}

// Takes a number, and the colon behind it where there is one.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    text.remove_prefix(text.starts_with(':') ? 1 : 0);
    return true;
}

std::optional<os::PeerUser> userNoted(std::string_view text) {
    text.remove_prefix(ipc.size());
    os::PeerUser user;
    const bool isWhole = takeNumber(text, user.user) && takeNumber(text, user.group) &&
                         takeNumber(text, user.process) && text.empty();
    return isWhole ? std::optional(user) : std::nullopt;
}

}  // namespace

Origin::Origin(zmq::message_t& frame) : address(noteOf(frame, "Peer-Address")) {
    if (!address.empty()) {
        descriptor = zmq_msg_get(frame.handle(), ZMQ_SRCFD);
        key = noteOf(frame, "User-Id");
    }
}

// A client whose address the library could not ask for, since he had gone by then, may have said
// one of his own.
Peer Origin::peer(std::optional<Transport> only) const {
    auto peer = noted();
    if (only && peer.transport != *only) {
        return {.transport = *only, .user = {}, .key = {}, .address = {}};
    }
    return peer;
}

Peer Origin::noted() const {
    if (address.empty()) {
        return {};
    }
    if (address.starts_with(ipc)) {
        return overIpc();
    }
    const auto prefix = address.starts_with(mapped) ? mapped.size() : 0;
    return {.transport = Transport::Tcp, .user = {}, .key = key, .address = address.substr(prefix)};
}

Peer Origin::overIpc() const {
    Peer peer{.transport = Transport::Ipc, .user = userNoted(address), .key = {}, .address = {}};
    // A second descriptor stays this connection's, should the first become another's meanwhile.
    const os::FileDescriptor held(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    auto now = os::peerUserOf(held.get());
    if (peer.user && now && now->user == peer.user->user && now->group == peer.user->group &&
        now->process == peer.user->process) {
        peer.user->groups = std::move(now->groups);
    }
    return peer;
}

}  // namespace tarn::socket
