// The long operations: each is a ticket of the server, which is followed to its end.
#include <algorithm>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::storage_client;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds defaultBound = std::chrono::minutes(10);
// The server is asked to answer well before the connection's own time-out.
constexpr Milliseconds longestWait(1000);

ServerConnection::Answer askForTicket(ServerConnection& connection, std::int64_t ticket,
                                      Milliseconds wait) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::TICKET);
    request.set_ticket(ticket);
    request.set_wait_ms(static_cast<std::uint32_t>(wait.count()));
    return connection.ask(request);
}

std::int64_t resultOf(const ServerConnection::Answer& answer) {
    switch (answer.ticket_state()) {
        case TARN_STORAGE_TICKET_FINISHED:
            return answer.value();
        case TARN_STORAGE_TICKET_CANCELLED:
            throw Failure(TARN_STORAGE_ERROR_SERVER, "The server stopped before it was done");
        default: {
            ServerConnection::Answer failure;
            failure.set_error(std::max(answer.ticket_error(), 1));
            failure.set_message(answer.ticket_message());
            checkAnswer(failure);
            return -1;
        }
    }
}

bool isOver(int state) {
    return state != TARN_STORAGE_TICKET_QUEUED && state != TARN_STORAGE_TICKET_RUNNING;
}

std::int64_t follow(ServerConnection& connection, std::int64_t ticket,
                    const tarn::os::Deadline& deadline) {
    const auto wait = std::min(longestWait, connection.timeOut() / 2);
    for (;;) {
        const auto answer = askForTicket(connection, ticket, std::min(wait, deadline.remaining()));
        if (isOver(answer.ticket_state())) {
            return resultOf(answer);
        }
        if (deadline.hasPassed()) {
            throw Failure(
                TARN_STORAGE_ERROR_TIMEOUT,
                "The operation with ticket " + std::to_string(ticket) + " has not ended in time");
        }
    }
}

tarn::os::Deadline deadlineIn(unsigned timeout_ms) {
    return tarn::os::Deadline(timeout_ms == 0 ? defaultBound : Milliseconds(timeout_ms));
}

std::int64_t run(tarn_storage_connection* handle, const ServerConnection::Request& request,
                 unsigned timeout_ms, std::int64_t* ticket, tarn_storage_error* error) {
    if (ticket != nullptr) {
        *ticket = 0;
    }
    return guarded<std::int64_t>(error, -1, [&] {
        const auto deadline = deadlineIn(timeout_ms);
        auto& connection = checked(handle);
        connection.descriptions().forget();
        const auto taken = connection.ask(request).ticket();
        if (ticket != nullptr) {
            *ticket = taken;
        }
        return follow(connection, taken, deadline);
    });
}

}  // namespace

int64_t tarn_storage_track_create(tarn_storage_connection* connection, uint64_t size,
                                  unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::CREATE_TRACK);
    request.set_size(size);
    return run(connection, request, timeout_ms, ticket, error);
}

int64_t tarn_storage_track_resize(tarn_storage_connection* connection, int64_t track_id,
                                  uint64_t size, unsigned timeout_ms, int64_t* ticket,
                                  tarn_storage_error* error) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::RESIZE_TRACK);
    request.add_track_id(track_id);
    request.set_size(size);
    return run(connection, request, timeout_ms, ticket, error);
}

int tarn_storage_track_destroy(tarn_storage_connection* connection, int64_t track_id,
                               unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::DESTROY_TRACK);
    request.add_track_id(track_id);
    return run(connection, request, timeout_ms, ticket, error) < 0 ? -1 : 0;
}

int tarn_storage_ticket_get_info(tarn_storage_connection* connection, int64_t ticket,
                                 tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        return static_cast<int>(
            askForTicket(checked(connection), ticket, Milliseconds(0)).ticket_state());
    });
}

int64_t tarn_storage_ticket_wait(tarn_storage_connection* connection, int64_t ticket,
                                 unsigned timeout_ms, tarn_storage_error* error) {
    return guarded<std::int64_t>(error, -1, [&] {
        const auto deadline = deadlineIn(timeout_ms);
        auto& server = checked(connection);
        server.descriptions().forget();
        return follow(server, ticket, deadline);
    });
}
