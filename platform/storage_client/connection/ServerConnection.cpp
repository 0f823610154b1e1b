#include "platform/storage_client/connection/ServerConnection.h"

#include <utility>

#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"
#include "proto/storage_wire.pb.h"

namespace tarn::storage_client {

namespace {

// Well below the time after which a server lets go.
constexpr auto longestIdle = std::chrono::seconds(30);

// A server that hangs holds up nobody who leaves.
constexpr std::chrono::milliseconds longestLeaving{200};

constexpr std::size_t greetingBeginning = 2;

iovec part(const void* bytes, std::size_t size) {
    return {.iov_base = const_cast<void*>(bytes), .iov_len = size};
}

[[noreturn]] void failProtocol(const std::string& message) {
    throw Failure(TARN_STORAGE_ERROR_PROTOCOL, message);
}

// A server that wants TLS tells so with an alert of that, which is shorter than a greeting.
void checkSpeaksPlainly(std::string_view beginning, const std::string& peer) {
    constexpr std::string_view alert = "\x15\x03";
    if (beginning == alert) {
        throw Failure(TARN_STORAGE_ERROR_CONNECTION,
                      "The server at " + peer +
                          " speaks TLS: a certificate and the server's fingerprint are needed");
    }
}

void checkServerGreeting(std::string_view bytes, const std::string& peer) {
    switch (storage_wire::checkGreeting(bytes)) {
        case storage_wire::GreetingCheck::Fits:
            return;
        case storage_wire::GreetingCheck::OtherVersion:
            failProtocol("The server at " + peer + " speaks another version of the protocol");
        case storage_wire::GreetingCheck::NoGreeting:
            failProtocol("At " + peer + " there is no loop storage server");
    }
}

}  // namespace

void checkAnswer(const ServerConnection::Answer& answer) {
    if (answer.error() == TARN_STORAGE_OK) {
        return;
    }
    const bool isKnown = answer.error() > 0 && answer.error() <= TARN_STORAGE_ERROR_EVICTED;
    throw Failure(
        isKnown ? static_cast<tarn_storage_error_type>(answer.error()) : TARN_STORAGE_ERROR_SERVER,
        answer.message());
}

ServerConnection::ServerConnection(Connect connect, Milliseconds timeOut, Now now)
    : connect(std::move(connect)), bound(timeOut), now(std::move(now)), stream(open()) {
    greet();
}

std::unique_ptr<Stream> ServerConnection::open() const {
    auto opened = connect(os::Deadline(bound));
    opened->endWithoutPeer(2 * bound);
    return opened;
}

void ServerConnection::greet() {
    const os::Deadline deadline(bound);
    auto greeting = storage_wire::makeGreeting();
    stream->send({part(greeting.data(), greeting.size())}, deadline);
    stream->receive(greeting.data(), greetingBeginning, deadline);
    checkSpeaksPlainly({greeting.data(), greetingBeginning}, stream->peer());
    stream->receive(greeting.data() + greetingBeginning, greeting.size() - greetingBeginning,
                    deadline);
    checkServerGreeting({greeting.data(), greeting.size()}, stream->peer());
}

// Not only when the server has ended it: it might do so between this look and the request.
void ServerConnection::renewIfLetGo() {
    if (state == State::Open && (now() - lastExchange > longestIdle || stream->isEnded())) {
        renew();
    }
}

void ServerConnection::renew() {
    state = State::Broken;
    checkWish();
    use(open());
    greet();
    state = State::Open;
}

void ServerConnection::checkWish() {
    const std::lock_guard lock(mutex);
    if (wish == Wish::End) {
        throw Failure(TARN_STORAGE_ERROR_CONNECTION,
                      "The connection to " + stream->peer() + " was interrupted");
    }
}

// From here on whoever interrupts meets the new one, which has yet to greet.
void ServerConnection::use(std::unique_ptr<Stream> opened) {
    {
        const std::lock_guard lock(mutex);
        stream.swap(opened);
    }
    checkWish();
}

void ServerConnection::interrupt() {
    const std::lock_guard lock(mutex);
    wish = Wish::End;
    stream->interrupt();
}

void ServerConnection::checkUsable() const {
    if (state == State::Broken) {
        throw Failure(TARN_STORAGE_ERROR_CONNECTION,
                      "The connection to " + stream->peer() + " has failed before");
    }
}

// An exchange that was left half-way leaves bytes in the stream that nobody can tell apart.
template <typename Exchange>
auto ServerConnection::bounded(Exchange exchange) {
    checkUsable();
    const auto before = std::exchange(state, State::Broken);
    const os::Deadline deadline(bound);
    const auto finish = [&] {
        state = before;
        lastExchange = now();
    };
    if constexpr (std::is_void_v<decltype(exchange(deadline))>) {
        exchange(deadline);
        finish();
    } else {
        const auto result = exchange(deadline);
        finish();
        return result;
    }
}

ServerConnection::Answer ServerConnection::ask(const Request& request) {
    if (state == State::WorkersOnly) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT,
                      "The connection serves a reader or a writer and nothing else");
    }
    renewIfLetGo();
    send(request);
    Answer answer;
    if (receive(answer) != 0) {
        state = State::Broken;
        failProtocol("The server's answer carries bytes that nobody asked for");
    }
    checkAnswer(answer);
    return answer;
}

void ServerConnection::send(const Request& request) {
    send(request, nullptr, 0);
}

void ServerConnection::send(const Request& request, unsigned times) {
    const auto message = request.SerializeAsString();
    const auto header =
        storage_wire::encode({.messageSize = static_cast<std::uint32_t>(message.size())});
    std::string all;
    for (unsigned i = 0; i < times; ++i) {
        all.append(header.data(), header.size()).append(message);
    }
    sendParts({part(all.data(), all.size())});
}

void ServerConnection::send(const Request& request, const Part* payload, std::size_t parts) {
    const auto message = request.SerializeAsString();
    if (message.size() > storage_wire::largestRequest) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT,
                      "The request would have " + std::to_string(message.size()) +
                          " bytes: at most " + std::to_string(storage_wire::largestRequest));
    }
    storage_wire::MessageHeader header;
    header.messageSize = static_cast<std::uint32_t>(message.size());
    std::vector<iovec> list(2);
    for (std::size_t i = 0; i < parts; ++i) {
        header.payloadSize += static_cast<std::uint32_t>(payload[i].size);
        list.push_back(part(payload[i].bytes, payload[i].size));
    }
    const auto headerBytes = storage_wire::encode(header);
    list[0] = part(headerBytes.data(), headerBytes.size());
    list[1] = part(message.data(), message.size());
    sendParts(std::move(list));
}

// A server that takes nothing any more may have said why.
void ServerConnection::sendParts(std::vector<iovec> parts) {
    const auto before = state;
    try {
        bounded([&](const os::Deadline& deadline) { stream->send(std::move(parts), deadline); });
    } catch (const Failure& failure) {
        if (before != State::WorkersOnly || failure.type() != TARN_STORAGE_ERROR_CONNECTION) {
            throw;
        }
        state = before;
        failAsTold();
    }
}

std::size_t ServerConnection::receive(Answer& answer) {
    return bounded([&](const os::Deadline& deadline) -> std::size_t {
        storage_wire::HeaderBytes bytes;
        stream->receive(bytes.data(), bytes.size(), deadline);
        const auto header = storage_wire::decodeHeader(bytes.data());
        if (header.messageSize > storage_wire::largestAnswer ||
            header.payloadSize > storage_wire::largestPayload) {
            failProtocol("The server's answer is too long");
        }
        std::string message(header.messageSize, '\0');
        stream->receive(message.data(), message.size(), deadline);
        if (!answer.ParseFromString(message)) {
            failProtocol("The server's answer cannot be read");
        }
        return header.payloadSize;
    });
}

void ServerConnection::receivePayload(char* bytes, std::size_t size) {
    bounded([&](const os::Deadline& deadline) { stream->receive(bytes, size, deadline); });
}

void ServerConnection::checkServerIsThere() {
    checkUsable();
    if (stream->isEnded()) {
        failAsTold();
    }
}

// With the last answer that came, if that tells why, otherwise with the end of the stream. What was
// on its way before is not wanted any more.
void ServerConnection::failAsTold() {
    for (;;) {
        Answer answer;
        std::vector<char> ignored(receive(answer));
        receivePayload(ignored.data(), ignored.size());
        if (answer.error() == TARN_STORAGE_ERROR_EVICTED) {
            state = State::Broken;
            checkAnswer(answer);
        }
    }
}

bool ServerConnection::waitForAnswer(Milliseconds timeOut) {
    checkUsable();
    return stream->waitForInput(os::Deadline(timeOut));
}

void ServerConnection::reserveForWorker() {
    checkUsable();
    if (state == State::WorkersOnly) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT,
                      "The connection already serves a reader or a writer");
    }
    state = State::WorkersOnly;
}

void ServerConnection::leave() noexcept {
    if (state == State::WorkersOnly) {
        stream->finish(os::Deadline(longestLeaving));
    }
    state = State::Broken;
}

}  // namespace tarn::storage_client
