#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "platform/storage_client/frames/FrameMemory.h"
#include "platform/storage_client/frames/Worker.h"
#include "platform/storage_wire/Checksum.h"
#include "platform/storage_wire/MessageHeader.h"
#include "proto/storage_wire.pb.h"

namespace {

using namespace tarn::storage_client;

// Frames on their way at a time: enough for the server never to wait for the next one.
constexpr std::size_t window = 8;
constexpr std::size_t copiedAtOnce = 64U << 10U;

std::uint64_t sizeOf(const std::vector<ServerConnection::Part>& parts) {
    std::uint64_t bytes = 0;
    for (const auto& part : parts) {
        bytes += part.size;
    }
    return bytes;
}

std::uint32_t checksumOf(const std::vector<ServerConnection::Part>& parts) {
    std::uint32_t sum = 0;
    for (const auto& part : parts) {
        sum = tarn::storage_wire::checksum(part.bytes, part.size, sum);
    }
    return sum;
}

// The checksum is made of what is still near the processor.
std::uint32_t copy(const ServerConnection::Part& part, char* to, std::uint32_t sum) {
    const auto* from = static_cast<const char*>(part.bytes);
    for (std::size_t done = 0; done < part.size; done += copiedAtOnce) {
        const auto size = std::min(copiedAtOnce, part.size - done);
        std::copy_n(from + done, size, to + done);
        sum = tarn::storage_wire::checksum(from + done, size, sum);
    }
    return sum;
}

}  // namespace

struct tarn_storage_writer {
    tarn_storage_writer(ServerConnection& connection, std::int64_t track, const char* name)
        : connection(connection) {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::ATTACH_WRITER);
        request.set_share(true);
        const auto answer = attachWorker(connection, request, track, name);
        size = answer.track(0).size();
        hasNewest = answer.track(0).has_newest();
        newest = answer.track(0).newest();
        endAtStart = hasNewest ? newest : -1;
        mapMemory(answer);
        connection.reserveForWorker();
    }

    ~tarn_storage_writer() { connection.leave(); }
    tarn_storage_writer(const tarn_storage_writer&) = delete;
    tarn_storage_writer& operator=(const tarn_storage_writer&) = delete;

    void write(std::int64_t timePoint, const std::vector<ServerConnection::Part>& parts) {
        const auto bytes = sizeOf(parts);
        check(timePoint, bytes);
        takeAnswers();
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::WRITE);
        request.set_time_point(timePoint);
        if (isDurable) {
            request.set_durable(true);
        }
        if (memory && bytes > 0 && bytes <= memory->largest()) {
            const auto placed = put(parts, bytes);
            request.set_offset(placed.offset);
            request.set_size(bytes);
            request.set_checksum(placed.checksum);
            connection.send(request);
            unanswered.push_back(Way::Memory);
        } else {
            request.set_checksum(checksumOf(parts));
            connection.send(request, parts.data(), parts.size());
            unanswered.push_back(Way::Socket);
        }
        hasNewest = true;
        newest = timePoint;
    }

    void flush() {
        while (!unanswered.empty()) {
            takeAnswer();
        }
    }

    void flushToDisk() {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::FLUSH);
        connection.send(request);
        unanswered.push_back(Way::Socket);
        flush();
    }

    std::int64_t endAtStart = -1;
    bool isDurable = false;

  private:
    enum class Way { Socket, Memory };

    void mapMemory(const ServerConnection::Answer& answer) {
        const auto descriptors = connection.takeDescriptors();
        if (answer.descriptors() == 1 && descriptors.size() == 1) {
            memory = FrameMemory::Map(*descriptors[0], answer.size());
        }
    }

    struct Placed {
        std::uint64_t offset;
        std::uint32_t checksum;
    };

    // Waits until there is a place for it.
    Placed put(const std::vector<ServerConnection::Part>& parts, std::uint64_t bytes) {
        auto place = memory->place(bytes);
        for (; !place; place = memory->place(bytes)) {
            takeAnswer();
        }
        auto* next = memory->at(*place);
        std::uint32_t sum = 0;
        for (const auto& part : parts) {
            sum = copy(part, next, sum);
            next += part.size;
        }
        return {.offset = *place, .checksum = sum};
    }

    void check(std::int64_t timePoint, std::uint64_t bytes) const {
        if (bytes > std::min<std::uint64_t>(size, tarn::storage_wire::largestPayload)) {
            throw Failure(TARN_STORAGE_ERROR_ARGUMENT,
                          "A frame of " + std::to_string(bytes) + " bytes is too large: the ring " +
                              "has " + std::to_string(size) + ", and a frame has at most " +
                              std::to_string(tarn::storage_wire::largestPayload));
        }
        if (hasNewest && timePoint <= newest) {
            throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "Time point " + std::to_string(timePoint) +
                                                           " does not come after " +
                                                           std::to_string(newest));
        }
    }

    // Those that are there, and as many as it takes to stay within the window.
    void takeAnswers() {
        while (unanswered.size() >= window ||
               connection.waitForAnswer(std::chrono::milliseconds(0))) {
            takeAnswer();
        }
    }

    // One that answers nothing tells why the server ends the connection.
    void takeAnswer() {
        ServerConnection::Answer answer;
        connection.receive(answer);
        checkAnswer(answer);
        if (unanswered.empty()) {
            throw Failure(TARN_STORAGE_ERROR_PROTOCOL, "The server acknowledges what was not sent");
        }
        if (unanswered.front() == Way::Memory) {
            memory->release();
        }
        unanswered.pop_front();
    }

    ServerConnection& connection;
    std::uint64_t size = 0;
    bool hasNewest = false;
    std::int64_t newest = 0;
    std::deque<Way> unanswered;
    std::unique_ptr<FrameMemory> memory;  // none on another machine
};

namespace {

tarn_storage_writer& checkedWriter(tarn_storage_writer* writer) {
    if (writer == nullptr) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no writer");
    }
    return *writer;
}

}  // namespace

tarn_storage_writer* tarn_storage_writer_create(tarn_storage_connection* connection,
                                                int64_t track_id, const char* worker_name,
                                                tarn_storage_error* error) {
    return guarded<tarn_storage_writer*>(error, nullptr, [&] {
        return new tarn_storage_writer(checked(connection), track_id, worker_name);
    });
}

void tarn_storage_writer_destroy(tarn_storage_writer* writer) {
    delete writer;
}

int64_t tarn_storage_writer_get_end_at_start(const tarn_storage_writer* writer) {
    return writer->endAtStart;
}

int tarn_storage_writer_write(tarn_storage_writer* writer, int64_t time_point, const void* data,
                              size_t size, tarn_storage_error* error) {
    const tarn_storage_part part{.data = data, .size = size};
    return tarn_storage_writer_write_parts(writer, time_point, &part, 1, error);
}

int tarn_storage_writer_write_parts(tarn_storage_writer* writer, int64_t time_point,
                                    const tarn_storage_part* parts, size_t count,
                                    tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        std::vector<ServerConnection::Part> pieces;
        for (std::size_t i = 0; i < count; ++i) {
            pieces.push_back({.bytes = parts[i].data, .size = parts[i].size});
        }
        checkedWriter(writer).write(time_point, pieces);
        return 0;
    });
}

int tarn_storage_writer_flush(tarn_storage_writer* writer, tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        checkedWriter(writer).flush();
        return 0;
    });
}

int tarn_storage_writer_flush_to_disk(tarn_storage_writer* writer, tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        checkedWriter(writer).flushToDisk();
        return 0;
    });
}

void tarn_storage_writer_set_durable(tarn_storage_writer* writer, int durable) {
    writer->isDurable = durable != 0;
}
