// What a client asks for.
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <optional>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/server/Session.h"
#include "platform/socket/DescriptorReserve.h"
#include "platform/utils/Log.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

Session::Next Session::handle(const Request& request, std::uint32_t payloadSize) {
    if (writer && request.type() == Request::WRITE) {
        return write(request, payloadSize);
    }
    if (writer && request.type() == Request::FLUSH && payloadSize == 0) {
        acknowledge(Promise::Disk);
        return next();
    }
    if (reader && request.type() == Request::READ && payloadSize == 0) {
        if (request.has_again()) {
            reader->goBack(request.again());
        } else {
            reader->ask(request.in_place() ? ReaderRole::Wanted::Place : ReaderRole::Wanted::Bytes);
        }
        readFrames();
        return next();
    }
    if (payloadSize > 0 || reader || writer) {
        throw storage_wire::WireError("The request does not fit what the connection is used for");
    }
    state = State::Answering;
    present->set(Presence::Standing::Asking);
    try {
        gate.check(request, client);
        if (request.type() == Request::ATTACH_READER || request.type() == Request::ATTACH_WRITER) {
            attach(request);
        } else if (request.type() == Request::TICKET) {
            followTicket(request);
        } else {
            handleRequest(storage, request, [self = shared_from_this()](const Answer& answer) {
                self->answerFromAnywhere(visibleTo(self->client, answer));
            });
        }
    } catch (const std::exception& failure) {
        answer(failureAnswer(failure));
    }
    return next();
}

// On a thread that may wait: opening the files asks the disk.
void Session::attach(const Request& request) {
    if (request.track_id_size() != 1) {
        throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, "The request names no track");
    }
    const auto kind = request.type() == Request::ATTACH_WRITER ? Track::WorkerKind::Writer
                                                               : Track::WorkerKind::Reader;
    const bool shares = request.share() && isLocal();
    const auto track = storage.catalogue().get(request.track_id(0));
    auto& queue = kind == Track::WorkerKind::Writer ? track->syncs() : track->reads();
    storage.runSoon(queue, [self = shared_from_this(), request, kind, shares] {
        try {
            self->checkPlaceForWorker();
            const std::shared_ptr<Attachment> attachment = self->storage.attach(
                request.track_id(0), kind, self->asWorker(request.worker_name()));
            const auto sharing = std::make_shared<const WorkerSharing>(
                shares ? makeWorkerSharing(attachment->track(), kind) : WorkerSharing());
            boost::asio::post(self->stream.get_executor(),
                              self->handler([attachment, request, sharing](Session& session) {
                                  session.attached(attachment, request, *sharing);
                              }));
        } catch (const std::exception& failure) {
            self->answerFromAnywhere(failureAnswer(failure));
        }
    });
}

// The last places and descriptors are for who asks.
void Session::checkPlaceForWorker() const {
    if (storage.workers().count() >= limits.workers()) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER,
                           std::to_string(limits.workers()) +
                               " readers and writers are attached already: there is no place");
    }
    if (socket::DescriptorReserve::IsReached() && !makeRoom()) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER,
                           "The server has no file descriptors left for readers and writers");
    }
}

WorkerClient Session::asWorker(const std::string& name) {
    const auto endSelf = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->evict();
        }
    };
    return {.name = name, .address = peer, .evict = endSelf};
}

// Descriptors can be sent to who is on the same machine.
bool Session::isLocal() const {
    boost::system::error_code error;
    const auto endpoint = stream.socket().local_endpoint(error);
    return !error && endpoint.protocol().family() == AF_UNIX;
}

void Session::attached(const std::shared_ptr<Attachment>& attachment, const Request& request,
                       const WorkerSharing& sharing) {
    if (state != State::Answering) {
        return;  // it has gone, or was evicted meanwhile
    }
    const auto description = attachment->track().describe();
    if (attachment->kind() == Track::WorkerKind::Writer) {
        writer = std::make_unique<WriterRole>(attachment, sharing.memory);
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
    if (!sendWith(sharing, reply)) {
        send(reply);
    }
    answered();
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
    // Both the timer and the end of the operation finish it; the number tells the second that it is
    // late.
    const auto wait = ++ticketWaits;
    const auto finish = [weak = weak_from_this(), ticket, wait] {
        if (const auto self = weak.lock()) {
            self->handler([ticket, wait](Session& session) {
                if (session.ticketWaits == wait && session.state == State::Answering) {
                    session.answerTicket(ticket);
                }
            })();
        }
    };
    ticketWait.expires_after(std::min<Clock::duration>(std::chrono::milliseconds(request.wait_ms()),
                                                       std::chrono::seconds(10)));
    ticketWait.async_wait([finish](const auto&) { finish(); });
    awaitedTicket = ticket;
    storage.tickets().callAtEnd(ticket, this, [finish, executor = stream.get_executor()] {
        boost::asio::post(executor, finish);
    });
}

void Session::answerTicket(std::int64_t ticket) {
    ++ticketWaits;
    storage.tickets().callOff(ticket, this);
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
    boost::asio::dispatch(stream.get_executor(),
                          handler([reply](Session& self) { self.answer(reply); }));
}

// Then the next request is looked at.
void Session::answer(const Answer& reply) {
    if (state != State::Answering) {
        return;
    }
    send(reply);
    answered();
}

// Posted and not called: a client with many requests at once must not make the stack grow.
void Session::answered() {
    state = State::Receiving;
    present->set(isWorker() ? Presence::Standing::Working : Presence::Standing::Idle);
    boost::asio::post(stream.get_executor(), handler([](Session& self) { self.goOn(); }));
}

// What the client did cannot be put right: it is told, and whatever more it sends is thrown away
// until it has gone, or has had time for that.
void Session::fail(const std::exception& failure) {
    utils::logWarning(std::string("A client is refused: ") + failure.what());
    refuse(failure);
}

// A reader of the file itself may take what it reads for a frame until it sees that the connection
// has ended: as long its track stays as it is.
void Session::refuse(const std::exception& failure) {
    writer.reset();
    promised.clear();
    leaving = std::move(reader);
    present->set(Presence::Standing::Idle);
    auto reply = failureAnswer(failure);
    if (dynamic_cast<const storage_wire::WireError*>(&failure) != nullptr) {
        reply.set_error(TARN_STORAGE_ERROR_PROTOCOL);
    }
    send(reply);
    state = State::Lingering;
}

void Session::evict() {
    boost::asio::post(
        stream.get_executor(), handler([](Session& self) {
            if (self.state == State::Receiving || self.state == State::Answering) {
                self.noteInput();
                self.refuse(StorageError(TARN_STORAGE_ERROR_EVICTED,
                                         "An operator has evicted this worker from its track"));
                self.goOn();
            }
        }));
}

}  // namespace tarn::peers::loop_storage
