// What a client asks for.
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <utility>

#include "peers/loop_storage/Session.h"
#include "peers/loop_storage/StorageError.h"
#include "platform/utils/Log.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

Session::Next Session::handle(const Request& request, std::uint32_t payloadSize) {
    if (writer && request.type() == Request::WRITE) {
        return write(request, payloadSize);
    }
    if (reader && request.type() == Request::READ && payloadSize == 0) {
        if (request.has_again()) {
            reader->goBack(request.again());
        } else {
            reader->ask(request.in_place() ? ReaderRole::Wanted::Place : ReaderRole::Wanted::Bytes);
        }
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
    const auto track = storage.catalogue().get(request.track_id(0));
    auto& queue = kind == Track::WorkerKind::Writer ? track->syncs() : track->reads();
    storage.runSoon(queue, [self = shared_from_this(), request, kind] {
        try {
            const std::shared_ptr<Attachment> attachment =
                self->storage.attach(request.track_id(0), kind, request.worker_name());
            const auto sharing = std::make_shared<const Sharing>(
                request.share() && self->isLocal() ? makeSharing(attachment->track(), kind)
                                                   : Sharing());
            boost::asio::post(self->socket.get_executor(),
                              self->handler([attachment, request, sharing](Session& session) {
                                  session.attached(attachment, request, *sharing);
                              }));
        } catch (const std::exception& failure) {
            self->answerFromAnywhere(failureAnswer(failure));
        }
    });
}

// Descriptors can be sent to who is on the same machine.
bool Session::isLocal() const {
    boost::system::error_code error;
    const auto endpoint = socket.local_endpoint(error);
    return !error && endpoint.protocol().family() == AF_UNIX;
}

void Session::attached(const std::shared_ptr<Attachment>& attachment, const Request& request,
                       const Sharing& sharing) {
    if (state == State::Closed) {
        return;
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

void Session::answered() {
    state = State::Receiving;
    boost::asio::post(socket.get_executor(), handler([](Session& self) { self.goOn(); }));
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

}  // namespace tarn::peers::loop_storage
