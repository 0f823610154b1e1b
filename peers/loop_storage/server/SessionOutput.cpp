// What goes to a client.
#include <sys/socket.h>

#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <cstring>
#include <utility>

#include "peers/loop_storage/server/Session.h"
#include "platform/storage_wire/MemorySharing.h"
#include "platform/storage_wire/MessageHeader.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t framesAhead = 2;

std::string messageOf(const proto::storage_wire::Answer& answer, std::size_t payloadSize) {
    const auto text = answer.SerializeAsString();
    const auto header =
        storage_wire::encode({.messageSize = static_cast<std::uint32_t>(text.size()),
                              .payloadSize = static_cast<std::uint32_t>(payloadSize)});
    return std::string(header.data(), header.size()) + text;
}

// One byte, and the descriptors with it, or nothing.
bool sendDescriptors(int socket, char byte, const std::vector<int>& descriptors) {
    const auto size = descriptors.size() * sizeof(int);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(storage_wire::mostDescriptors * sizeof(int))>
        control{};
    iovec part{.iov_base = &byte, .iov_len = 1};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(size);
    auto* const rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(rights), descriptors.data(), size);
    return ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) == 1;
}

}  // namespace

void Session::send(const Answer& reply, std::vector<char> payload) {
    auto message = messageOf(reply, payload.size());
    outbox.add(std::move(message), std::move(payload));
    sendNext();
}

// False when they cannot go with it now, and then the worker does without.
bool Session::sendWith(const WorkerSharing& sharing, Answer reply) {
    const auto descriptors = sharing.descriptors();
    if (descriptors.empty() || outbox.isSending() || !outbox.isEmpty()) {
        return false;
    }
    reply.set_descriptors(static_cast<std::uint32_t>(descriptors.size()));
    if (sharing.memory) {
        reply.set_size(sharing.memory->size());
    }
    const auto message = messageOf(reply, 0);
    if (!sendDescriptors(stream.socket().native_handle(), message.front(), descriptors)) {
        return false;
    }
    outbox.add(message.substr(1), {});
    sendNext();
    return true;
}

void Session::sendNext() {
    if (outbox.isSending() || outbox.isEmpty() || state == State::Closed) {
        return;
    }
    lastOutput = Clock::now();
    watch();
    // Noted with each piece: a slow client that goes on receiving is not dropped.
    const auto progress = [self = shared_from_this()](const auto& error, std::size_t) {
        self->lastOutput = Clock::now();
        return error ? std::size_t(0) : std::size_t(1U << 20U);
    };
    boost::asio::async_write(stream, outbox.begin(), progress,
                             handler([](Session& self, const auto& error, std::size_t) {
                                 if (error) {
                                     self.end();
                                 } else {
                                     self.sent();
                                 }
                             }));
}

void Session::sent() {
    if (state == State::Closed) {
        return;
    }
    const bool wasFull = isFull();
    outbox.finish();
    sendNext();
    if (state == State::Lingering && !outbox.isSending()) {
        boost::system::error_code ignored;
        stream.socket().shutdown(Socket::shutdown_send, ignored);
        leaving.reset();
    }
    readFrames();
    if (wasFull) {
        goOn();
    }
}

bool Session::canSendFrames() const {
    return reader && outbox.payloads() < framesAhead && !outbox.isFull();
}

void Session::readFrames() {
    while (canSendFrames()) {
        auto payload = outbox.takeSpare();
        auto answer = reader->next(payload);
        if (!answer) {
            break;
        }
        if (answer->error() != 0) {
            payload.clear();
        }
        send(*answer, std::move(payload));
    }
    if (!canSendFrames()) {
        return;
    }
    if (reader->mustFetch()) {
        fetchFrame();
        return;
    }
    // Weak: a track must not keep a client that has gone.
    reader->callWhenReadable([weak = weak_from_this(), executor = stream.get_executor()] {
        boost::asio::post(executor, [weak] {
            if (const auto self = weak.lock()) {
                self->handler([](Session& session) { session.readable(); })();
            }
        });
    });
}

void Session::readable() {
    if (reader) {
        reader->called();
        readFrames();
    }
}

// ---- what is not in memory ----------------------------------------------------------------------

void Session::fetchFrame() {
    const auto fetch = reader->beginFetch(outbox.takeSpare());
    storage.runSoon(fetch->queue(), [self = shared_from_this(), fetch] {
        fetch->run();
        boost::asio::post(self->stream.get_executor(),
                          self->handler([fetch](Session& session) { session.fetched(*fetch); }));
    });
}

void Session::fetched(ReaderRole::Fetch& fetch) {
    if (!reader) {
        return;
    }
    if (const auto answer = reader->endFetch(fetch)) {
        send(*answer, answer->error() == 0 ? std::move(fetch.bytes) : std::vector<char>());
    }
    readFrames();
}

}  // namespace tarn::peers::loop_storage
