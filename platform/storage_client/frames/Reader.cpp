#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "platform/storage_client/frames/RingView.h"
#include "platform/storage_client/frames/Worker.h"
#include "platform/storage_wire/Checksum.h"
#include "platform/storage_wire/MessageHeader.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::storage_client;
using tarn::storage_wire::largestPayload;

// Frames asked for ahead, when they come through the socket and when only their places do.
constexpr unsigned window = 4;
constexpr unsigned placesWindow = 16;
// When the disk would have had to be waited for, what comes next probably is not in memory either.
constexpr unsigned throughServer = 16;

ServerConnection::Request attachRequest(int start, std::int64_t timePoint) {
    if (start < TARN_STORAGE_START_OLDEST || start > TARN_STORAGE_START_TIME_POINT) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no such place to start reading at");
    }
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::ATTACH_READER);
    request.set_start(static_cast<ServerConnection::Request::Start>(start));
    request.set_time_point(timePoint);
    request.set_share(true);
    return request;
}

// One that is not is asked for again: the server looks by itself, and tells what is to be told.
bool isAsWritten(const ServerConnection::Answer& answer, const char* bytes, std::size_t size) {
    return !answer.has_checksum() || answer.checksum() == tarn::storage_wire::checksum(bytes, size);
}

}  // namespace

struct tarn_storage_reader {
    tarn_storage_reader(ServerConnection& connection, std::int64_t track, const char* name,
                        ServerConnection::Request request)
        : connection(connection) {
        const auto answer = attachWorker(connection, request, track, name);
        if (answer.track(0).has_newest()) {
            endAtStart = answer.track(0).newest();
        }
        openRing(answer);
        connection.reserveForWorker();
    }

    bool read(ServerConnection::Milliseconds timeOut, tarn_storage_frame& frame) {
        const tarn::os::Deadline deadline(timeOut);
        do {
            askAhead();
            if (!connection.waitForAnswer(deadline.remaining())) {
                return false;
            }
        } while (!take(frame));
        return true;
    }

    std::int64_t oldest = -1;
    std::int64_t unreadable = -1;
    std::int64_t endAtStart = -1;

  private:
    void openRing(const ServerConnection::Answer& answer) {
        auto descriptors = connection.takeDescriptors();
        if (answer.descriptors() == 2 && descriptors.size() == 2) {
            ring =
                RingView::Open(std::move(descriptors[0]), *descriptors[1], answer.track(0).size());
        }
    }

    // Many at a time: each sending may wake the server.
    void askAhead() {
        const bool inPlace = ring != nullptr && bytesWanted == 0;
        const auto most = inPlace ? placesWindow : window;
        if (asked > most / 2) {
            return;
        }
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::READ);
        request.set_in_place(inPlace);
        connection.send(request, most - asked);
        asked = most;
    }

    // The server ends what it has been asked for and begins anew with this one, by its bytes; or it
    // says that the ring has gone over it.
    void goBackTo(std::uint64_t sequence) {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::READ);
        request.set_again(sequence);
        connection.send(request);
        asked = 1;
        isGoingBack = true;
        bytesWanted = throughServer;
    }

    // The next answer. False when no frame has come of it.
    bool take(tarn_storage_frame& frame) {
        ServerConnection::Answer answer;
        const auto size = connection.receive(answer);
        if (answer.error() == TARN_STORAGE_ERROR_EVICTED) {
            checkAnswer(answer);
        }
        if (isGoingBack && !answer.again()) {
            receiveBytes(size);
            return false;
        }
        isGoingBack = false;
        --asked;
        if (answer.error() == TARN_STORAGE_ERROR_OVERTAKEN) {
            oldest = answer.has_time_point() ? answer.time_point() : -1;
        } else if (answer.error() == TARN_STORAGE_ERROR_UNREADABLE ||
                   answer.error() == TARN_STORAGE_ERROR_DAMAGED) {
            unreadable = answer.time_point();
        }
        checkAnswer(answer);
        if (answer.has_position() && size == 0) {
            return readInPlace(answer, frame);
        }
        receiveBytes(size);
        bytesWanted -= bytesWanted > 0 ? 1 : 0;
        frame = {.time_point = answer.time_point(), .data = bytes.get(), .size = size};
        return true;
    }

    bool readInPlace(const ServerConnection::Answer& answer, tarn_storage_frame& frame) {
        if (!ring || answer.size() > std::min(ring->size(), std::uint64_t{largestPayload})) {
            throw Failure(TARN_STORAGE_ERROR_PROTOCOL, "The server names a place that is none");
        }
        const auto size = static_cast<std::size_t>(answer.size());
        makeRoom(size);
        const bool isWhole = ring->read(answer.position(), size, bytes.get()) &&
                             isAsWritten(answer, bytes.get(), size);
        // Without the server nobody knows what is done to the ring.
        connection.checkServerIsThere();
        if (!isWhole) {
            goBackTo(answer.sequence());
            return false;
        }
        frame = {.time_point = answer.time_point(), .data = bytes.get(), .size = size};
        return true;
    }

    // Memory that is not filled with zeros before.
    void makeRoom(std::size_t size) {
        if (size > capacity || !bytes) {
            bytes = std::make_unique_for_overwrite<char[]>(size);
            capacity = size;
        }
    }

    void receiveBytes(std::size_t size) {
        makeRoom(size);
        connection.receivePayload(bytes.get(), size);
    }

    ServerConnection& connection;
    std::unique_ptr<RingView> ring;  // none on another machine
    unsigned asked = 0;
    unsigned bytesWanted = 0;  // so many of the next frames are asked for by their bytes
    bool isGoingBack = false;  // what comes before the answer to that is thrown away
    std::unique_ptr<char[]> bytes;
    std::size_t capacity = 0;
};

namespace {

tarn_storage_reader& checkedReader(tarn_storage_reader* reader) {
    if (reader == nullptr) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no reader");
    }
    return *reader;
}

}  // namespace

tarn_storage_reader* tarn_storage_reader_create(tarn_storage_connection* connection,
                                                int64_t track_id, const char* worker_name,
                                                int start, int64_t time_point,
                                                tarn_storage_error* error) {
    return guarded<tarn_storage_reader*>(error, nullptr, [&] {
        return new tarn_storage_reader(checked(connection), track_id, worker_name,
                                       attachRequest(start, time_point));
    });
}

void tarn_storage_reader_destroy(tarn_storage_reader* reader) {
    delete reader;
}

int tarn_storage_reader_read(tarn_storage_reader* reader, unsigned timeout_ms,
                             tarn_storage_frame* frame, tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        const ServerConnection::Milliseconds timeOut(timeout_ms);
        return checkedReader(reader).read(timeOut, *frame) ? 1 : 0;
    });
}

int64_t tarn_storage_reader_get_oldest_time_point(const tarn_storage_reader* reader) {
    return reader->oldest;
}

int64_t tarn_storage_reader_get_unreadable_time_point(const tarn_storage_reader* reader) {
    return reader->unreadable;
}

int64_t tarn_storage_reader_get_end_at_start(const tarn_storage_reader* reader) {
    return reader->endAtStart;
}
