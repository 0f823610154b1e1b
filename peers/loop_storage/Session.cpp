#include "peers/loop_storage/Session.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "platform/storage_wire/SendBuffer.h"
#include "platform/utils/Log.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr std::size_t inputSize = 64U << 10U;
constexpr std::size_t writerInputSize = 512U << 10U;
constexpr int readsAtOnce = 16;
constexpr std::size_t mostAnswersWaiting = 64;
constexpr std::size_t framesAhead = 2;

std::size_t used(const boost::system::error_code& error, std::size_t size) {
    return error ? 0 : size;
}

}  // namespace

Session::Session(Socket socket, Storage& storage, const SessionLimits& limits,
                 std::function<void()> onEnd)
    : socket(std::move(socket)),
      storage(storage),
      limits(limits),
      onEnd(std::move(onEnd)),
      input(inputSize),
      patience(this->socket.get_executor()),
      ticketWait(this->socket.get_executor()) {}

Session::~Session() = default;

void Session::start() {
    boost::asio::dispatch(socket.get_executor(), [self = shared_from_this()] {
        boost::system::error_code ignored;
        self->socket.non_blocking(true, ignored);
        storage_wire::makeSendBufferLarge(self->socket.native_handle());
        self->receive();
    });
}

void Session::close() {
    boost::asio::post(socket.get_executor(), [self = shared_from_this()] { self->end(); });
}

void Session::end() {
    if (state == State::Closed) {
        return;
    }
    state = State::Closed;
    boost::system::error_code ignored;
    socket.close(ignored);
    patience.cancel(ignored);
    ticketWait.cancel(ignored);
    reader.reset();
    writer.reset();
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
    socket.async_read_some(boost::asio::buffer(input),
                           [self = shared_from_this()](const auto& error, std::size_t size) {
                               self->isReceiving = false;
                               self->received(used(error, size));
                           });
}

void Session::received(std::size_t size) {
    if (size == 0 || state == State::Closed) {
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
        const bool isFull = outbox.size() >= mostAnswersWaiting;
        if (inputBegin < inputEnd || isFull || state == State::Answering || isReceiving) {
            return;  // goes on when it is answered, or when answers were sent
        }
        if (state == State::Closed || !readMore()) {
            break;
        }
    }
    if (inputBegin == inputEnd) {
        receive();
    } else {
        boost::asio::post(socket.get_executor(), [self = shared_from_this()] { self->goOn(); });
    }
}

// Whatever it sends on, a client that was refused has no more than its time to go.
void Session::noteInput() {
    if (state != State::Lingering) {
        lastInput = Clock::now();
    }
}

bool Session::readMore() {
    boost::system::error_code error;
    const auto size = socket.read_some(boost::asio::buffer(input), error);
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
    while (state == State::Receiving && inputBegin < inputEnd &&
           outbox.size() < mostAnswersWaiting) {
        try {
            inputBegin += parser.feed({input.data() + inputBegin, inputEnd - inputBegin}, *this);
        } catch (const std::exception& failure) {
            fail(failure);
            inputBegin = inputEnd;
        }
    }
}

void Session::takeGreeting() {
    const auto greeting = storage_wire::makeGreeting();
    outbox.add({greeting.data(), greeting.size()}, {});
    sendNext();
}

Session::Next Session::takeMessage(std::string_view message, std::uint32_t payloadSize) {
    Request request;
    if (!request.ParseFromArray(message.data(), static_cast<int>(message.size()))) {
        throw storage_wire::WireError("The request cannot be read");
    }
    return handle(request, payloadSize);
}

Session::Next Session::takePayload(std::string_view piece, bool isLast) {
    writer->write(piece);
    if (isLast) {
        writer->commit();
        send(Answer());
    }
    return outbox.size() < mostAnswersWaiting ? Next::GoOn : Next::Pause;
}

// ---- requests -----------------------------------------------------------------------------------

Session::Next Session::handle(const Request& request, std::uint32_t payloadSize) {
    if (writer && request.type() == Request::WRITE) {
        writer->begin(request.time_point(), payloadSize);
        if (payloadSize == 0) {
            writer->commit();
            send(Answer());
        }
        return Next::GoOn;
    }
    if (reader && request.type() == Request::READ && payloadSize == 0) {
        reader->ask();
        readFrames();
        return Next::GoOn;
    }
    if (payloadSize > 0 || reader || writer) {
        throw storage_wire::WireError("The request does not fit what the connection is used for");
    }
    state = State::Answering;
    try {
        if (request.type() == Request::ATTACH_READER || request.type() == Request::ATTACH_WRITER) {
            attach(request);
        } else if (request.type() == Request::TICKET) {
            followTicket(request);
        } else {
            handleRequest(storage, request, [self = shared_from_this()](const Answer& answer) {
                self->answerFromAnywhere(answer);
            });
        }
    } catch (const std::exception& failure) {
        answer(failureAnswer(failure));
    }
    return state == State::Receiving ? Next::GoOn : Next::Pause;
}

void Session::attach(const Request& request) {
    if (request.track_id_size() != 1) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, "The request names no track");
    }
    const auto kind = request.type() == Request::ATTACH_WRITER ? Track::WorkerKind::Writer
                                                               : Track::WorkerKind::Reader;
    storage.runSoon([self = shared_from_this(), request, kind] {
        try {
            const std::shared_ptr<Attachment> attachment =
                self->storage.attach(request.track_id(0), kind, request.worker_name());
            boost::asio::post(self->socket.get_executor(),
                              [self, attachment, request] { self->attached(attachment, request); });
        } catch (const std::exception& failure) {
            self->answerFromAnywhere(failureAnswer(failure));
        }
    });
}

void Session::attached(const std::shared_ptr<Attachment>& attachment, const Request& request) {
    if (state == State::Closed) {
        return;
    }
    const auto description = attachment->track().describe();
    if (attachment->kind() == Track::WorkerKind::Writer) {
        writer = std::make_unique<WriterRole>(attachment);
    } else {
        const auto origin = request.start() == Request::LIVE         ? Track::Origin::Live
                            : request.start() == Request::TIME_POINT ? Track::Origin::TimePoint
                                                                     : Track::Origin::Oldest;
        reader = std::make_unique<ReaderRole>(attachment, origin, request.time_point());
    }
    Answer reply;
    auto* const track = reply.add_track();
    track->set_id(attachment->track().id());
    track->set_size(description.size);
    if (description.oldest) {
        track->set_oldest(*description.oldest);
        track->set_newest(*description.newest);
    }
    answer(reply);
}

void Session::followTicket(const Request& request) {
    const auto ticket = request.ticket();
    const auto info = storage.tickets().get(ticket);
    const bool isOver =
        info.state != TARN_STORAGE_TICKET_QUEUED && info.state != TARN_STORAGE_TICKET_RUNNING;
    if (isOver || request.wait_ms() == 0) {
        answerTicket(ticket);
        return;
    }
    const auto wait = ++ticketWaits;
    const auto finish = [weak = weak_from_this(), ticket, wait] {
        const auto self = weak.lock();
        if (self && self->ticketWaits == wait && self->state == State::Answering) {
            self->answerTicket(ticket);
        }
    };
    ticketWait.expires_after(std::min<Clock::duration>(std::chrono::milliseconds(request.wait_ms()),
                                                       std::chrono::seconds(10)));
    ticketWait.async_wait([finish](const auto&) { finish(); });
    storage.tickets().callAtEnd(ticket, [finish, executor = socket.get_executor()] {
        boost::asio::post(executor, finish);
    });
}

void Session::answerTicket(std::int64_t ticket) {
    ++ticketWaits;
    Answer reply;
    try {
        const auto info = storage.tickets().get(ticket);
        reply.set_ticket_state(info.state);
        reply.set_value(info.value);
        reply.set_ticket_error(info.error);
        reply.set_ticket_message(info.message);
    } catch (const StorageError& failure) {
        reply = failureAnswer(failure);
    }
    answer(reply);
}

void Session::answerFromAnywhere(const Answer& reply) {
    boost::asio::dispatch(socket.get_executor(),
                          [self = shared_from_this(), reply] { self->answer(reply); });
}

// Then the next request is looked at.
void Session::answer(const Answer& reply) {
    if (state != State::Answering) {
        return;
    }
    state = State::Receiving;
    send(reply);
    boost::asio::post(socket.get_executor(), [self = shared_from_this()] { self->goOn(); });
}

// What the client did cannot be put right: it is told, and whatever more it sends is thrown away
// until it has gone, or has had time for that.
void Session::fail(const std::exception& failure) {
    utils::logWarning(std::string("A client is refused: ") + failure.what());
    writer.reset();
    reader.reset();
    auto reply = failureAnswer(failure);
    if (dynamic_cast<const storage_wire::WireError*>(&failure) != nullptr) {
        reply.set_error(TARN_STORAGE_ERROR_PROTOCOL);
    }
    send(reply);
    state = State::Lingering;
}

// ---- what goes ----------------------------------------------------------------------------------

void Session::send(const Answer& reply, std::vector<char> payload) {
    const auto text = reply.SerializeAsString();
    const auto header =
        storage_wire::encode({.messageSize = static_cast<std::uint32_t>(text.size()),
                              .payloadSize = static_cast<std::uint32_t>(payload.size())});
    outbox.add(std::string(header.data(), header.size()) + text, std::move(payload));
    sendNext();
}

void Session::sendNext() {
    if (outbox.isSending() || outbox.isEmpty() || state == State::Closed) {
        return;
    }
    lastOutput = Clock::now();
    watch();
    const auto progress = [self = shared_from_this()](const auto& error, std::size_t) {
        self->lastOutput = Clock::now();
        return error ? std::size_t(0) : std::size_t(1U << 20U);
    };
    boost::asio::async_write(socket, outbox.begin(), progress,
                             [self = shared_from_this()](const auto& error, std::size_t) {
                                 if (error) {
                                     self->end();
                                 } else {
                                     self->sent();
                                 }
                             });
}

void Session::sent() {
    if (state == State::Closed) {
        return;
    }
    const bool wasFull = outbox.size() >= mostAnswersWaiting;
    outbox.finish();
    sendNext();
    if (state == State::Lingering && !outbox.isSending()) {
        boost::system::error_code ignored;
        socket.shutdown(Socket::shutdown_send, ignored);
    }
    readFrames();
    if (wasFull) {
        goOn();
    }
}

void Session::readFrames() {
    while (reader && outbox.size() < framesAhead) {
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
    if (reader && outbox.size() < framesAhead) {
        reader->callWhenReadable([weak = weak_from_this(), executor = socket.get_executor()] {
            boost::asio::post(executor, [weak] {
                const auto self = weak.lock();
                if (self && self->reader) {
                    self->reader->called();
                    self->readFrames();
                }
            });
        });
    }
}

// ---- patience -----------------------------------------------------------------------------------

void Session::watch() {
    if (isWatched || state == State::Closed) {
        return;
    }
    isWatched = true;
    patience.expires_after(limits.patience / 4);
    patience.async_wait([self = shared_from_this()](const auto&) {
        self->isWatched = false;
        self->checkPatience();
    });
}

void Session::checkPatience() {
    if (state == State::Closed) {
        return;
    }
    const auto now = Clock::now();
    const bool owesInput = isReceiving && (state == State::Lingering || parser.isInside());
    if ((owesInput && now - lastInput > limits.patience) ||
        (outbox.isSending() && now - lastOutput > limits.patience)) {
        utils::logWarning("A client that does not go on is dropped");
        end();
        return;
    }
    if (owesInput || outbox.isSending()) {
        watch();
    }
}

}  // namespace tarn::peers::loop_storage
