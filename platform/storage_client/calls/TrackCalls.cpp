#include <cstdio>
#include <utility>
#include <vector>

#include "platform/storage_client/calls/ErrorObject.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "proto/storage_wire.pb.h"

struct tarn_storage_track_list {
    std::vector<std::int64_t> ids;
};

namespace {

using namespace tarn::storage_client;

const TrackDescriptions::Track& describe(tarn_storage_connection* handle, std::int64_t id) {
    auto& connection = checked(handle);
    return connection.descriptions().get(connection, id);
}

}  // namespace

tarn_storage_track_list* tarn_storage_track_list_create(tarn_storage_connection* connection,
                                                        tarn_storage_error* error) {
    return guarded<tarn_storage_track_list*>(error, nullptr, [&] {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::LIST_TRACKS);
        const auto answer = checked(connection).ask(request);
        auto list = std::make_unique<tarn_storage_track_list>();
        list->ids.assign(answer.track_id().begin(), answer.track_id().end());
        checked(connection).descriptions().expect(list->ids);
        return list.release();
    });
}

void tarn_storage_track_list_destroy(tarn_storage_track_list* list) {
    delete list;
}

size_t tarn_storage_track_list_get_count(const tarn_storage_track_list* list) {
    return list->ids.size();
}

int64_t tarn_storage_track_list_get_id(const tarn_storage_track_list* list, size_t index) {
    return index < list->ids.size() ? list->ids[index] : -1;
}

int tarn_storage_track_clear(tarn_storage_connection* connection, int64_t track_id,
                             tarn_storage_error* error) {
    return guarded(error, -1, [&] {
        ServerConnection::Request request;
        request.set_type(ServerConnection::Request::CLEAR_TRACK);
        request.add_track_id(track_id);
        checked(connection).descriptions().forget();
        checked(connection).ask(request);
        return 0;
    });
}

int64_t tarn_storage_track_get_size(tarn_storage_connection* connection, int64_t track_id,
                                    tarn_storage_error* error) {
    return guarded<int64_t>(
        error, -1, [&] { return static_cast<int64_t>(describe(connection, track_id).size()); });
}

int64_t tarn_storage_track_get_beginning(tarn_storage_connection* connection, int64_t track_id,
                                         tarn_storage_error* error) {
    return guarded<int64_t>(error, -1, [&] {
        const auto& track = describe(connection, track_id);
        return track.has_oldest() ? track.oldest() : -1;
    });
}

int64_t tarn_storage_track_get_end(tarn_storage_connection* connection, int64_t track_id,
                                   tarn_storage_error* error) {
    return guarded<int64_t>(error, -1, [&] {
        const auto& track = describe(connection, track_id);
        return track.has_newest() ? track.newest() : -1;
    });
}

int64_t tarn_storage_track_get_failure(tarn_storage_connection* connection, int64_t track_id,
                                       char* text, size_t size, tarn_storage_error* error) {
    return guarded<int64_t>(error, -1, [&] {
        const auto& failure = describe(connection, track_id).failure();
        std::snprintf(text, size, "%s", failure.c_str());
        return static_cast<int64_t>(failure.size());
    });
}

int64_t tarn_storage_track_get_damaged_frames(tarn_storage_connection* connection, int64_t track_id,
                                              tarn_storage_error* error) {
    return guarded<int64_t>(error, -1, [&] {
        return static_cast<int64_t>(describe(connection, track_id).damaged_frames());
    });
}

int64_t tarn_storage_track_get_errors(tarn_storage_connection* connection, int64_t track_id,
                                      tarn_storage_error* error) {
    return guarded<int64_t>(
        error, -1, [&] { return static_cast<int64_t>(describe(connection, track_id).errors()); });
}
