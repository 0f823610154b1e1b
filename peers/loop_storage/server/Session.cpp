#include "peers/loop_storage/server/Session.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <string>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/server/PeerName.h"
#include "platform/os/FileDescriptor.h"
#include "platform/storage_wire/SendBuffer.h"
#include "platform/utils/Log.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t inputSize = 64U << 10U;
constexpr std::size_t writerInputSize = 512U << 10U;
constexpr int readsAtOnce = 16;

std::size_t used(const boost::system::error_code& error, std::size_t size) {
    return error ? 0 : size;
}

}  // namespace

Session::Session(ClientStream given, ClientIdentity client, RequestGate& gate, Storage& storage,
                 const SessionLimits& limits, std::function<void()> onEnd)
    : stream(std::move(given)),
      peer(peerNameOf(stream.socket().native_handle())),
      client(std::move(client)),
      gate(gate),
      storage(storage),
      limits(limits),
      onEnd(std::move(onEnd)),
      input(inputSize),
      patience(stream.get_executor()),
      ticketWait(stream.get_executor()) {}

Session::~Session() = default;

void Session::start() {
    boost::asio::dispatch(
        stream.get_executor(), handler([](Session& self) {
            boost::system::error_code ignored;
            self.stream.socket().non_blocking(true, ignored);
            storage_wire::makeSendBufferLarge(self.stream.socket().native_handle());
            self.receive();
        }));
}

void Session::close() {
    boost::asio::post(stream.get_executor(), handler([](Session& self) { self.end(); }));
}

// It cannot even be told.
void Session::breakOff(const std::exception& failure) {
    utils::logError(std::string("A client is dropped: ") + failure.what());
    end();
}

// Whatever still runs for it elsewhere finds it Closed, or finds no role, and does nothing more.
void Session::end() {
    if (state == State::Closed) {
        return;
    }
    state = State::Closed;
    boost::system::error_code ignored;
    patience.cancel(ignored);
    ticketWait.cancel(ignored);
    storage.tickets().callOff(awaitedTicket, this);
    reader.reset();
    leaving.reset();
    writer.reset();
    stream.socket().close(ignored);
    onEnd();
}

// ---- what comes ---------------------------------------------------------------------------------

void Session::receive() {
    if (isReceiving || state == State::Closed) {
        return;
    }
    if (writer && input.size() < writerInputSize) {
        input.resize(writerInputSize);
    }
    isReceiving = true;
    watch();
    stream.async_read_some(boost::asio::buffer(input),
                           handler([](Session& self, const auto& error, std::size_t size) {
                               self.isReceiving = false;
                               self.received(used(error, size));
                           }));
}

// A writer that has said that it leaves sees the end of the connection when the next one may come.
void Session::giveSocketToWriter() {
    if (writer && state != State::Closed) {
        boost::system::error_code ignored;
        writer->held()->keepUntilReleased(
            std::make_shared<os::FileDescriptor>(stream.socket().release(ignored)));
    }
}

void Session::received(std::size_t size) {
    if (size == 0 || state == State::Closed) {
        giveSocketToWriter();
        end();
        return;
    }
    inputBegin = 0;
    inputEnd = size;
    noteInput();
    goOn();
}

// Uses what is there, and what more has come meanwhile, for some rounds: others want a turn too.
void Session::goOn() {
    for (int round = 0; round < readsAtOnce; ++round) {
        parse();
        if (inputBegin < inputEnd || isFull() || state == State::Answering || isReceiving) {
            return;  // goes on when it is answered, or when answers were sent
        }
        if (state == State::Closed || !readMore()) {
            break;
        }
    }
    if (inputBegin == inputEnd) {
        receive();
    } else {
        boost::asio::post(stream.get_executor(), handler([](Session& self) { self.goOn(); }));
    }
}

// Whatever it sends on, a client that was refused has no more than its time to go.
void Session::noteInput() {
    if (state != State::Lingering) {
        lastInput = Clock::now();
    }
}

// Without going through the event loop again: a writer's next piece has mostly come by now.
bool Session::readMore() {
    boost::system::error_code error;
    const auto size = stream.read_some(boost::asio::buffer(input), error);
    if (error || size == 0) {
        return false;  // receiving tells, once more
    }
    inputBegin = 0;
    inputEnd = size;
    noteInput();
    return true;
}

void Session::parse() {
    if (state == State::Lingering) {
        inputBegin = inputEnd;
        return;
    }
    while (state == State::Receiving && inputBegin < inputEnd && !isFull()) {
        try {
            inputBegin += parser.feed({input.data() + inputBegin, inputEnd - inputBegin}, *this);
        } catch (const std::exception& failure) {
            fail(failure);
            inputBegin = inputEnd;
        }
    }
}

void Session::takeGreeting() {
    greeting = Greeting::Taken;
    present->set(Presence::Standing::Idle);
    const auto bytes = storage_wire::makeGreeting();
    outbox.add({bytes.data(), bytes.size()}, {});
    sendNext();
}

Session::Next Session::takeMessage(std::string_view message, std::uint32_t payloadSize) {
    Request request;
    if (!request.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
        throw storage_wire::WireError("The request cannot be read");
    }
    return handle(request, payloadSize);
}

// Each piece goes to the disk as it comes, so that a frame of any size costs no memory.
Session::Next Session::takePayload(std::string_view piece, bool isLast) {
    writer->write(piece);
    if (isLast) {
        writer->commit();
        acknowledge(promise);
    }
    return next();
}

// ---- patience -----------------------------------------------------------------------------------

// Looked at a few times in each bound, which is cheaper than a timer set anew with every message.
void Session::watch() {
    if (isWatched || state == State::Closed) {
        return;
    }
    isWatched = true;
    patience.expires_after(std::min(limits.patience, limits.idle) / 4);
    patience.async_wait(handler([](Session& self, const auto&) {
        self.isWatched = false;
        self.checkPatience();
    }));
}

void Session::checkPatience() {
    if (state == State::Closed) {
        return;
    }
    const auto now = Clock::now();
    if ((owesInput() && now - lastInput > limits.patience) ||
        (outbox.isSending() && now - lastOutput > limits.patience)) {
        utils::logWarning("A client that does not go on is dropped");
        end();
    } else if (isOverdue(now)) {
        utils::logDebug("A client that asks for nothing is let go");
        end();
    } else if (!isWorker() || owesInput() || outbox.isSending()) {
        watch();
    }
}

bool Session::owesInput() const {
    return isReceiving && (state == State::Lingering || parser.isInside());
}

// With a question, however slowly a part of it comes.
bool Session::isOverdue(Clock::time_point now) const {
    const auto bound = greeting == Greeting::Awaited ? limits.patience : limits.idle;
    return present->standing() == Presence::Standing::Idle &&
           now - std::max(present->since(), lastOutput) > bound;
}

}  // namespace tarn::peers::loop_storage
