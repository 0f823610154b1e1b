#include "platform/socket/CatchUpPublisher.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/socket/SocketTypes.h"
#include "platform/socket/zmq/BoundSocket.h"
#include "platform/socket/zmq/KnownPeers.h"
#include "platform/socket/zmq/MessageBytes.h"
#include "platform/socket/zmq/SocketSettings.h"

namespace tarn::socket {

namespace {

enum class WhenFull { Tell, Drop };

}  // namespace

struct CatchUpPublisher::Implementation {
    const std::string name;
    const std::vector<Wire> wires;
    BoundSocket listening;
    std::vector<KnownPeers> known;  // by wire
    std::size_t announcedFor = 0;
    // Announcements may be out of step with who made them, until all have been taken.
    bool isDisturbed = false;

    Implementation(std::string publisherName, std::vector<Wire> publisherWires, int queueLength)
        : name(std::move(publisherName)),
          wires(std::move(publisherWires)),
          listening({.protocol = Protocol::Publish,
                     .closePolicy = ClosePolicy::Flush,
                     .queueLength = queueLength,
                     .audience = Audience::Clients}),
          known(wires.size()) {}

    ZmqSocket& socket() { return listening.socket(); }
    std::string describe() const;
    bool isReadable() { return (socket().get(zmq::sockopt::events) & ZMQ_POLLIN) != 0; }
    void set(WhenFull policy) { socket().set(zmq::sockopt::xpub_nodrop, policy == WhenFull::Tell); }
    Announcement nextAnnouncement();
    std::size_t wireOf(std::string_view topic) const;
    bool send(std::string_view head, std::string_view body);
    void sendDropping(std::string_view head, std::string_view body);
    Delivery publish(std::string_view head, std::string_view body, const Wire& wire);

    template <typename Action>
    auto named(Action action) {
        return callNamed([&] { return describe(); }, std::move(action));
    }
};

std::string CatchUpPublisher::Implementation::describe() const {
    const auto endpoints = listening.describe(Protocol::Publish);
    return endpoints.empty() ? name : name + " on " + endpoints;
}

// Any topic but those that have a wire of their own is the first one's.
std::size_t CatchUpPublisher::Implementation::wireOf(std::string_view topic) const {
    const auto found = std::find_if(wires.begin(), wires.end(),
                                    [topic](const Wire& wire) { return wire.topic == topic; });
    return found == wires.end() ? 0 : static_cast<std::size_t>(found - wires.begin());
}

CatchUpPublisher::Announcement CatchUpPublisher::Implementation::nextAnnouncement() {
    announcedFor = 0;
    zmq::message_t frame;
    if (!socket().receive(frame)) {
        isDisturbed = false;
        return Announcement::None;
    }
    listening.noteSender(Origin(frame));
    const char kind = frame.empty() ? '\xff' : frame.to_string_view().front();
    // The library counts what is no announcement as one when it looks up who made it.
    if (kind != 0 && kind != 1) {
        isDisturbed = true;
        KnownPeers::saidNonsense(frame);
    }
    if (isDisturbed) {
        return Announcement::Unclear;
    }
    announcedFor = wireOf(frame.to_string_view().substr(1));
    if (kind == 0) {
        known[announcedFor].left(frame);
        return Announcement::Left;
    }
    return known[announcedFor].came(std::move(frame)) ? Announcement::Came : Announcement::Again;
}

// False, and nobody has got it, when somebody's queue is full.
bool CatchUpPublisher::Implementation::send(std::string_view head, std::string_view body) {
    auto frame = frameOf({head, body});
    return socket().send(frame);
}

// Whose queue is full goes without.
void CatchUpPublisher::Implementation::sendDropping(std::string_view head, std::string_view body) {
    set(WhenFull::Drop);
    send(head, body);
    set(WhenFull::Tell);
}

CatchUpPublisher::Delivery CatchUpPublisher::Implementation::publish(std::string_view head,
                                                                     std::string_view body,
                                                                     const Wire& wire) {
    if (send(head, body)) {
        return Delivery::ToAll;
    }
    isReadable();  // it may have been read meanwhile, which the library looks up only now and then
    auto delivery = Delivery::ToAll;
    while (!send(head, body)) {
        delivery = Delivery::SomeLost;
        // The library leaves out at least one whose queue is full, until it has read half of it.
        // Meanwhile it also passes over one whose queue is not: so that it is done with a message
        // that nobody misses.
        sendDropping(wire.filler, {});
    }
    return delivery;
}

CatchUpPublisher::CatchUpPublisher(std::string name, Wire wire, int queueLength)
    : CatchUpPublisher(std::move(name), std::vector{std::move(wire)}, queueLength) {}

CatchUpPublisher::CatchUpPublisher(std::string name, std::vector<Wire> wires, int queueLength)
    : impl(std::make_unique<Implementation>(std::move(name), std::move(wires), queueLength)) {
    // What a subscriber asks for is told, not done: who gets what is decided here.
    impl->socket().set(zmq::sockopt::xpub_manual, true);
    impl->set(WhenFull::Tell);
}

CatchUpPublisher::~CatchUpPublisher() = default;

void CatchUpPublisher::listen(const SocketEndpoint& endpoint) {
    impl->named([&] { impl->listening.add(endpoint); });
}

CatchUpPublisher::Announcement CatchUpPublisher::nextAnnouncement() {
    return impl->named([&] { return impl->nextAnnouncement(); });
}

std::size_t CatchUpPublisher::wireOfAnnouncement() const {
    return impl->announcedFor;
}

bool CatchUpPublisher::hasAnnouncements() {
    return impl->named([&] { return impl->isReadable(); });
}

// The library knows who announced itself until the next announcement is taken, or until it finds,
// in a send, that somebody has left. So all subscriptions come before the first message is sent,
// and an address stays with those whom it was given to: nobody else may have it.
void CatchUpPublisher::admit(std::string_view address) {
    impl->named([&] {
        impl->socket().set(zmq::sockopt::subscribe, address);
        impl->socket().set(zmq::sockopt::subscribe, impl->wires[impl->announcedFor].everybody);
    });
}

void CatchUpPublisher::welcome(std::string_view address, std::string_view body) {
    impl->named([&] {
        impl->sendDropping(address, body);
        // Mostly it is the only one.
        impl->socket().set(zmq::sockopt::unsubscribe, address);
    });
}

CatchUpPublisher::Delivery CatchUpPublisher::publish(std::string_view head, std::string_view body,
                                                     std::size_t wire) {
    return impl->named([&] { return impl->publish(head, body, impl->wires.at(wire)); });
}

int CatchUpPublisher::descriptor() {
    return impl->named([&] { return impl->socket().get(zmq::sockopt::fd); });
}

std::string CatchUpPublisher::debugString() const {
    return impl->describe();
}

}  // namespace tarn::socket
