#include "platform/socket/CatchUpPublisher.h"

#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "platform/socket/SocketTypes.h"
#include "platform/socket/zmq/Frame.h"
#include "platform/socket/zmq/ZmqError.h"

namespace tarn::socket {

namespace {

enum class WhenFull { Tell, Drop };

void set(ZmqSocket& socket, WhenFull policy) {
    socket.setOption(ZMQ_XPUB_NODROP, policy == WhenFull::Tell ? 1 : 0);
}

int query(ZmqSocket& socket, int option) {
    int result = -1;
    std::size_t size = sizeof result;
    if (zmq_getsockopt(socket.handle(), option, &result, &size) != 0) {
        throwZmqError("cannot query socket option " + std::to_string(option), errno);
    }
    return result;
}

Frame join(std::string_view head, std::string_view body) {
    const auto size = head.size() + body.size();
    if (size > largestMessage) {
        throw std::runtime_error("a message of " + std::to_string(size) +
                                 " bytes is too large to be sent");
    }
    Frame frame(size);
    auto* const end = std::copy(head.begin(), head.end(), static_cast<char*>(frame.data()));
    std::copy(body.begin(), body.end(), end);
    return frame;
}

}  // namespace

CatchUpPublisher::CatchUpPublisher(std::string name, Wire wire, int queueLength)
    : name(std::move(name)),
      wire(std::move(wire)),
      listening({.protocol = Protocol::Publish,
                 .closePolicy = ClosePolicy::Flush,
                 .queueLength = queueLength}) {
    // What a subscriber asks for is told, not done: who gets what is decided here.
    listening.socket().setOption(ZMQ_XPUB_MANUAL, 1);
    set(listening.socket(), WhenFull::Tell);
}

CatchUpPublisher::~CatchUpPublisher() = default;

template <typename Action>
auto CatchUpPublisher::named(Action action) {
    try {
        return action();
    } catch (const ZmqContextTerminationException& failure) {
        throw ZmqContextTerminationException(debugString() + ": " + failure.what());
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error(debugString() + ": " + failure.what());
    }
}

void CatchUpPublisher::listen(const SocketEndpoint& endpoint) {
    named([&] { listening.add(endpoint); });
}

CatchUpPublisher::Announcement CatchUpPublisher::nextAnnouncement() {
    return named([&] {
        Frame frame;
        if (!frame.receive(listening.socket())) {
            isDisturbed = false;
            return Announcement::None;
        }
        const char kind = frame.size() > 0 ? *static_cast<const char*>(frame.data()) : '\xff';
        // The library counts what is no announcement as one when it looks up who made it.
        isDisturbed = isDisturbed || (kind != 0 && kind != 1);
        if (isDisturbed) {
            return Announcement::Unclear;
        }
        if (kind == 0) {
            return Announcement::Left;
        }
        return known.isNew(std::move(frame)) ? Announcement::Came : Announcement::Again;
    });
}

bool CatchUpPublisher::hasAnnouncements() {
    return named([&] { return (query(listening.socket(), ZMQ_EVENTS) & ZMQ_POLLIN) != 0; });
}

// The library knows who announced itself until the next announcement is taken, or until it finds,
// in a send, that somebody has left. So all subscriptions come before the first message is sent,
// and an address stays with those whom it was given to: nobody else may have it.
void CatchUpPublisher::admit(std::string_view address) {
    named([&] {
        listening.socket().setOption(ZMQ_SUBSCRIBE, std::string(address));
        listening.socket().setOption(ZMQ_SUBSCRIBE, wire.everybody);
    });
}

void CatchUpPublisher::welcome(std::string_view address, std::string_view body) {
    named([&] {
        set(listening.socket(), WhenFull::Drop);
        send(address, body);
        set(listening.socket(), WhenFull::Tell);
        // Mostly it is the only one.
        listening.socket().setOption(ZMQ_UNSUBSCRIBE, std::string(address));
    });
}

CatchUpPublisher::Delivery CatchUpPublisher::publish(std::string_view head, std::string_view body) {
    return named([&] {
        if (send(head, body)) {
            return Delivery::ToAll;
        }
        // It may have been read meanwhile, which the library looks up only now and then.
        query(listening.socket(), ZMQ_EVENTS);
        auto delivery = Delivery::ToAll;
        while (!send(head, body)) {
            delivery = Delivery::SomeLost;
            leaveOutTheSlow();
        }
        return delivery;
    });
}

// False, and nobody has got it, when somebody's queue is full.
bool CatchUpPublisher::send(std::string_view head, std::string_view body) {
    Frame frame = join(head, body);
    return frame.send(listening.socket(), Frame::Position::Last);
}

// The library leaves out at least one whose queue is full, until it has read half of it. Meanwhile
// it also passes over one whose queue is not: so that it is done with a message that nobody misses.
void CatchUpPublisher::leaveOutTheSlow() {
    set(listening.socket(), WhenFull::Drop);
    send(wire.filler, {});
    set(listening.socket(), WhenFull::Tell);
}

int CatchUpPublisher::descriptor() {
    return named([&] { return query(listening.socket(), ZMQ_FD); });
}

std::string CatchUpPublisher::debugString() const {
    std::string endpoints;
    for (const auto& endpoint : listening.endpoints()) {
        endpoints += (endpoints.empty() ? " on " : ", ") + endpoint.toString(Protocol::Publish);
    }
    return name + endpoints;
}

}  // namespace tarn::socket
