#include "tests/peers/loop_storage/support/StorageClient.h"

namespace tarn::test {

StorageClient::StorageClient(const std::string& socketPath)
    : connection(tarn_storage_connection_create_uds(socketPath.c_str(), error)) {}

StorageClient::StorageClient(std::uint16_t port, unsigned timeOut)
    : connection(tarn_storage_connection_create_tcp("127.0.0.1", port, timeOut, error)) {}

StorageClient::StorageClient(const TlsAddress& address)
    : connection(tarn_storage_connection_create_tls("127.0.0.1", address.port,
                                                    address.certificate.c_str(),
                                                    address.fingerprint.c_str(), 0, error)) {}

StorageClient::~StorageClient() {
    tarn_storage_writer_destroy(writer);
    tarn_storage_reader_destroy(reader);
    tarn_storage_connection_destroy(connection);
    tarn_storage_error_destroy(error);
}

std::int64_t StorageClient::create(std::uint64_t size) {
    return tarn_storage_track_create(connection, size, 30'000, nullptr, error);
}

std::int64_t StorageClient::resize(std::int64_t track, std::uint64_t size) {
    return tarn_storage_track_resize(connection, track, size, 30'000, nullptr, error);
}

int StorageClient::destroy(std::int64_t track) {
    return tarn_storage_track_destroy(connection, track, 30'000, nullptr, error);
}

int StorageClient::clear(std::int64_t track) {
    return tarn_storage_track_clear(connection, track, error);
}

std::int64_t StorageClient::size(std::int64_t track) {
    return tarn_storage_track_get_size(connection, track, error);
}

std::int64_t StorageClient::beginning(std::int64_t track) {
    return tarn_storage_track_get_beginning(connection, track, error);
}

std::int64_t StorageClient::end(std::int64_t track) {
    return tarn_storage_track_get_end(connection, track, error);
}

std::int64_t StorageClient::errors(std::int64_t track) {
    return tarn_storage_track_get_errors(connection, track, error);
}

std::int64_t StorageClient::remaining() {
    return tarn_storage_get_remaining_space(connection, error);
}

int StorageClient::ticketState(std::int64_t ticket) {
    return tarn_storage_ticket_get_info(connection, ticket, error);
}

std::int64_t StorageClient::awaitTicket(std::int64_t ticket) {
    return tarn_storage_ticket_wait(connection, ticket, 30'000, error);
}

std::vector<std::int64_t> StorageClient::tracks() {
    std::vector<std::int64_t> ids;
    auto* const list = tarn_storage_track_list_create(connection, error);
    for (std::size_t i = 0; list != nullptr && i < tarn_storage_track_list_get_count(list); ++i) {
        ids.push_back(tarn_storage_track_list_get_id(list, i));
    }
    tarn_storage_track_list_destroy(list);
    return ids;
}

template <typename Look>
auto StorageClient::ofWorkers(Look look) {
    using Value = decltype(look(std::declval<tarn_storage_worker_info_list*>(), std::size_t{}));
    std::vector<Value> values;
    auto* const list = tarn_storage_worker_list_create(connection, error);
    auto* const records = tarn_storage_worker_info_list_create(connection, list, error);
    const auto count = records != nullptr ? tarn_storage_worker_info_list_get_count(records) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(look(records, i));
    }
    tarn_storage_worker_info_list_destroy(records);
    tarn_storage_worker_list_destroy(list);
    return values;
}

std::vector<std::string> StorageClient::workers() {
    return ofWorkers([](auto* records, std::size_t i) {
        const auto& record = *tarn_storage_worker_info_list_get(records, i);
        return (record.kind == TARN_STORAGE_WORKER_WRITER ? "writer " : "reader ") +
               std::to_string(record.track_id) + " " + record.name;
    });
}

std::vector<std::int64_t> StorageClient::workerIds() {
    return ofWorkers(tarn_storage_worker_info_list_get_id);
}

std::vector<std::string> StorageClient::workerAddresses() {
    return ofWorkers([](auto* records, std::size_t i) {
        return std::string(tarn_storage_worker_info_list_get_address(records, i));
    });
}

int StorageClient::evict(std::int64_t worker) {
    return tarn_storage_worker_evict(connection, worker, error);
}

int StorageClient::set(std::int64_t track, const std::map<std::string, std::string>& properties) {
    auto* const list = tarn_storage_property_list_create();
    for (const auto& [name, value] : properties) {
        tarn_storage_property_list_set(list, name.c_str(), value.c_str());
    }
    const int result = tarn_storage_track_set_properties(connection, track, list, error);
    tarn_storage_property_list_destroy(list);
    return result;
}

int StorageClient::remove(std::int64_t track, const std::vector<std::string>& names) {
    std::vector<const char*> texts;
    for (const auto& name : names) {
        texts.push_back(name.c_str());
    }
    return tarn_storage_track_remove_properties(connection, track, texts.data(), texts.size(),
                                                error);
}

std::map<std::string, std::string> StorageClient::properties(std::int64_t track) {
    std::map<std::string, std::string> values;
    auto* const list = tarn_storage_track_get_properties(connection, track, error);
    for (std::size_t i = 0; list != nullptr && i < tarn_storage_property_list_get_count(list);
         ++i) {
        values[tarn_storage_property_list_get_name(list, i)] =
            tarn_storage_property_list_get_value(list, i);
    }
    tarn_storage_property_list_destroy(list);
    return values;
}

bool StorageClient::beWriter(std::int64_t track, const std::string& name) {
    writer = tarn_storage_writer_create(connection, track, name.c_str(), error);
    return writer != nullptr;
}

int StorageClient::write(std::int64_t at, const std::string& frame) {
    return tarn_storage_writer_write(writer, at, frame.data(), frame.size(), error);
}

int StorageClient::write(std::int64_t at, const std::string& frame, std::size_t pieces) {
    std::vector<tarn_storage_part> parts;
    const auto most = frame.size() / pieces;
    for (std::size_t i = 0; i < pieces; ++i) {
        const bool isLast = i + 1 == pieces;
        parts.push_back(
            {.data = frame.data() + i * most, .size = isLast ? frame.size() - i * most : most});
    }
    return tarn_storage_writer_write_parts(writer, at, parts.data(), parts.size(), error);
}

int StorageClient::flush() {
    return tarn_storage_writer_flush(writer, error);
}

int StorageClient::flushToDisk() {
    return tarn_storage_writer_flush_to_disk(writer, error);
}

void StorageClient::beDurable() {
    tarn_storage_writer_set_durable(writer, 1);
}

std::string StorageClient::failure(std::int64_t track) {
    std::string text(1024, '\0');
    const auto size =
        tarn_storage_track_get_failure(connection, track, text.data(), text.size(), error);
    return size < 0 ? "(unknown)" : text.substr(0, static_cast<std::size_t>(size));
}

std::int64_t StorageClient::damagedFrames(std::int64_t track) {
    return tarn_storage_track_get_damaged_frames(connection, track, error);
}

bool StorageClient::beReader(std::int64_t track, int start, std::int64_t from,
                             const std::string& name) {
    reader = tarn_storage_reader_create(connection, track, name.c_str(), start, from, error);
    return reader != nullptr;
}

int StorageClient::read(unsigned timeOut) {
    tarn_storage_frame frame{};
    const int result = tarn_storage_reader_read(reader, timeOut, &frame, error);
    if (result == 1) {
        timePoint = frame.time_point;
        bytes.assign(static_cast<const char*>(frame.data), frame.size);
    }
    return result;
}

}  // namespace tarn::test
