#include <cstdint>
#include <memory>

#include "platform/storage_client/Connection.h"
#include "platform/storage_client/ErrorObject.h"
#include "platform/storage_client/Worker.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::storage_client;

// Frames asked for ahead.
constexpr unsigned window = 4;

Connection::Request attachRequest(int start, std::int64_t timePoint) {
    if (start < TARN_STORAGE_START_OLDEST || start > TARN_STORAGE_START_TIME_POINT) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no such place to start reading at");
    }
    Connection::Request request;
    request.set_type(Connection::Request::ATTACH_READER);
    request.set_start(static_cast<Connection::Request::Start>(start));
    request.set_time_point(timePoint);
    return request;
}

}  // namespace

struct tarn_storage_reader {
    tarn_storage_reader(Connection& connection, std::int64_t track, const char* name,
                        Connection::Request request)
        : connection(connection) {
        const auto answer = attachWorker(connection, request, track, name);
        if (answer.track(0).has_newest()) {
            endAtStart = answer.track(0).newest();
        }
        connection.reserveForWorker();
    }

    bool read(Connection::Milliseconds timeOut, tarn_storage_frame& frame) {
        askAhead();
        if (!connection.waitForAnswer(timeOut)) {
            return false;
        }
        Connection::Answer answer;
        const auto size = connection.receive(answer);
        --asked;
        if (answer.error() == TARN_STORAGE_ERROR_OVERTAKEN) {
            oldest = answer.has_time_point() ? answer.time_point() : -1;
        }
        checkAnswer(answer);
        receiveBytes(size);
        frame = {.time_point = answer.time_point(), .data = bytes.get(), .size = size};
        return true;
    }

    std::int64_t oldest = -1;
    std::int64_t endAtStart = -1;

  private:
    void askAhead() {
        Connection::Request request;
        request.set_type(Connection::Request::READ);
        for (; asked < window; ++asked) {
            connection.send(request);
        }
    }

    // Memory that is not filled with zeros before.
    void receiveBytes(std::size_t size) {
        if (size > capacity || !bytes) {
            bytes = std::make_unique_for_overwrite<char[]>(size);
            capacity = size;
        }
        connection.receivePayload(bytes.get(), size);
    }

    Connection& connection;
    unsigned asked = 0;
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
        const Connection::Milliseconds timeOut(timeout_ms);
        return checkedReader(reader).read(timeOut, *frame) ? 1 : 0;
    });
}

int64_t tarn_storage_reader_get_oldest_time_point(const tarn_storage_reader* reader) {
    return reader->oldest;
}

int64_t tarn_storage_reader_get_end_at_start(const tarn_storage_reader* reader) {
    return reader->endAtStart;
}
