#include "tests/storage_sequences/Client.h"

#include <utility>

#include "tests/storage_sequences/FrameBytes.h"

namespace tarn::storage_sequences {

using service::devices::connectStorage;
using service::devices::StorageAddress;
using service::devices::StorageConnection;
using service::devices::StorageError;
using service::devices::StoragePointer;

namespace {

constexpr unsigned longestOperationMs = 20'000;
constexpr unsigned longestReadMs = 5'000;
constexpr unsigned readOnMs = 1'000;
constexpr std::size_t mostUnreadable = 10'000;

Outcome outcomeOf(StorageError& error) {
    const int type = tarn_storage_error_get_type(error.get());
    if (type == TARN_STORAGE_OK) {
        return {};
    }
    const bool isBroken =
        type == TARN_STORAGE_ERROR_CONNECTION || type == TARN_STORAGE_ERROR_TIMEOUT;
    return {.how = isBroken ? Outcome::How::Broken : Outcome::How::Refused,
            .error = type,
            .message = error.message()};
}

Properties propertiesOf(const tarn_storage_property_list* list) {
    Properties properties;
    for (std::size_t n = 0; n < tarn_storage_property_list_get_count(list); ++n) {
        properties[tarn_storage_property_list_get_name(list, n)] =
            tarn_storage_property_list_get_value(list, n);
    }
    return properties;
}

std::optional<std::int64_t> timePoint(std::int64_t value) {
    return value < 0 ? std::nullopt : std::optional(value);
}

struct Detach {
    void operator()(tarn_storage_reader* reader) const { tarn_storage_reader_destroy(reader); }
};
using AttachedReader = std::unique_ptr<tarn_storage_reader, Detach>;

}  // namespace

std::unique_ptr<Writer> Writer::Attach(const StorageAddress& address, std::int64_t track,
                                       Outcome& outcome) {
    StorageError error;
    auto connection = connectStorage(address, error);
    auto* const writer =
        connection ? tarn_storage_writer_create(connection.get(), track, "sequence", error.get())
                   : nullptr;
    outcome = outcomeOf(error);
    return writer == nullptr
               ? nullptr
               : std::unique_ptr<Writer>(new Writer(track, std::move(connection), writer));
}

Writer::Writer(std::int64_t track, StorageConnection connection, tarn_storage_writer* writer)
    : track(track), connection(std::move(connection)), writer(writer) {}

Writer::~Writer() {
    tarn_storage_writer_destroy(writer);
}

Outcome Writer::write(std::int64_t timePoint, std::size_t size) {
    StorageError error;
    const auto bytes = frameBytes(track, timePoint, size);
    tarn_storage_writer_write(writer, timePoint, bytes.data(), bytes.size(), error.get());
    return outcomeOf(error);
}

Outcome Writer::flush() {
    StorageError error;
    tarn_storage_writer_flush(writer, error.get());
    return outcomeOf(error);
}

Outcome Writer::flushToDisk() {
    StorageError error;
    tarn_storage_writer_flush_to_disk(writer, error.get());
    return outcomeOf(error);
}

void Writer::setDurable() {
    tarn_storage_writer_set_durable(writer, 1);
}

template <typename Call>
Outcome Client::ask(const Call& call) const {
    StorageError error;
    const auto connection = connectStorage(address, error);
    if (connection) {
        call(connection.get(), error.get());
    }
    return outcomeOf(error);
}

Outcome Client::create(std::uint64_t size, std::int64_t& id) const {
    return ask([&](auto* connection, auto* error) {
        id = tarn_storage_track_create(connection, size, longestOperationMs, nullptr, error);
    });
}

Outcome Client::destroy(std::int64_t track) const {
    return ask([&](auto* connection, auto* error) {
        tarn_storage_track_destroy(connection, track, longestOperationMs, nullptr, error);
    });
}

Outcome Client::resize(std::int64_t track, std::uint64_t size, std::uint64_t& reached) const {
    return ask([&](auto* connection, auto* error) {
        reached = static_cast<std::uint64_t>(
            tarn_storage_track_resize(connection, track, size, longestOperationMs, nullptr, error));
    });
}

Outcome Client::clear(std::int64_t track) const {
    return ask(
        [&](auto* connection, auto* error) { tarn_storage_track_clear(connection, track, error); });
}

Outcome Client::setProperties(std::int64_t track, const Properties& changes) const {
    const StoragePointer<tarn_storage_property_list> list(tarn_storage_property_list_create());
    for (const auto& [name, value] : changes) {
        tarn_storage_property_list_set(list.get(), name.c_str(), value.c_str());
    }
    return ask([&](auto* connection, auto* error) {
        tarn_storage_track_set_properties(connection, track, list.get(), error);
    });
}

Outcome Client::removeProperty(std::int64_t track, const std::string& name) const {
    const char* const names[] = {name.c_str()};
    return ask([&](auto* connection, auto* error) {
        tarn_storage_track_remove_properties(connection, track, names, 1, error);
    });
}

Outcome Client::list(std::vector<std::int64_t>& tracks) const {
    return ask([&](auto* connection, auto* error) {
        const StoragePointer<tarn_storage_track_list> found(
            tarn_storage_track_list_create(connection, error));
        const auto count = found ? tarn_storage_track_list_get_count(found.get()) : 0;
        for (std::size_t n = 0; n < count; ++n) {
            tracks.push_back(tarn_storage_track_list_get_id(found.get(), n));
        }
    });
}

Outcome Client::describe(std::int64_t track, TrackModel::Found& found) const {
    return ask([&](auto* connection, auto* error) {
        found.size =
            static_cast<std::uint64_t>(tarn_storage_track_get_size(connection, track, error));
        if (tarn_storage_error_get_type(error) == TARN_STORAGE_OK) {
            found.oldest = timePoint(tarn_storage_track_get_beginning(connection, track, error));
        }
        if (tarn_storage_error_get_type(error) == TARN_STORAGE_OK) {
            found.newest = timePoint(tarn_storage_track_get_end(connection, track, error));
        }
        if (tarn_storage_error_get_type(error) == TARN_STORAGE_OK) {
            const StoragePointer<tarn_storage_property_list> list(
                tarn_storage_track_get_properties(connection, track, error));
            found.properties = list ? propertiesOf(list.get()) : Properties();
        }
    });
}

Outcome Client::read(std::int64_t track, Reading& reading) const {
    StorageError error;
    const auto connection = connectStorage(address, error);
    const AttachedReader reader(
        connection ? tarn_storage_reader_create(connection.get(), track, "sequence",
                                                TARN_STORAGE_START_OLDEST, 0, error.get())
                   : nullptr);
    const auto newest = reader ? tarn_storage_reader_get_end_at_start(reader.get()) : -1;
    std::int64_t last = -1;
    while (reader && last < newest) {
        tarn_storage_frame frame{};
        const int result = tarn_storage_reader_read(
            reader.get(), reading.unreadable > 0 ? readOnMs : longestReadMs, &frame, error.get());
        if (result == 0 && reading.unreadable > 0) {
            return {};  // the newest may be one of them
        }
        if (result == 0) {
            return {.how = Outcome::How::Refused,
                    .message = "frame " + std::to_string(newest) + " does not come"};
        }
        const auto outcome = outcomeOf(error);
        reading.reason = result < 0 ? outcome.message : reading.reason;
        if (result < 0 && (outcome.isBroken() || ++reading.unreadable > mostUnreadable)) {
            return outcome;
        }
        if (result > 0) {
            last = frame.time_point;
            const std::string_view bytes(static_cast<const char*>(frame.data), frame.size);
            reading.frames.push_back({.timePoint = last,
                                      .size = frame.size,
                                      .isWhole = isWholeFrame(track, last, bytes)});
        }
    }
    return outcomeOf(error);
}

}  // namespace tarn::storage_sequences
