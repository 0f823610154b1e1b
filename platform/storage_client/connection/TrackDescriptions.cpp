#include "platform/storage_client/connection/TrackDescriptions.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/storage_client/connection/ServerConnection.h"
#include "proto/storage_wire.pb.h"

namespace tarn::storage_client {

namespace {

constexpr std::size_t mostAhead = 64;
constexpr auto fresh = std::chrono::milliseconds(5);

}  // namespace

TrackDescriptions::TrackDescriptions() = default;
TrackDescriptions::~TrackDescriptions() = default;
TrackDescriptions::TrackDescriptions(TrackDescriptions&&) noexcept = default;

void TrackDescriptions::expect(std::vector<std::int64_t> ids) {
    forget();
    expected = std::move(ids);
}

void TrackDescriptions::forget() {
    tracks.clear();
}

const TrackDescriptions::Track& TrackDescriptions::get(ServerConnection& connection,
                                                       std::int64_t id) {
    if (Clock::now() - readAt > fresh || !tracks.contains(id)) {
        read(connection, id);
    }
    const auto found = tracks.find(id);
    if (found == tracks.end()) {
        throw Failure(TARN_STORAGE_ERROR_NOT_FOUND, "There is no track " + std::to_string(id));
    }
    return found->second;
}

std::vector<std::int64_t> TrackDescriptions::toRead(std::int64_t id) const {
    const auto found = std::lower_bound(expected.begin(), expected.end(), id);
    if (found == expected.end() || *found != id) {
        return {id};
    }
    const auto left = static_cast<std::size_t>(expected.end() - found);
    return {found, found + static_cast<std::ptrdiff_t>(std::min(left, mostAhead))};
}

void TrackDescriptions::read(ServerConnection& connection, std::int64_t id) {
    ServerConnection::Request request;
    request.set_type(ServerConnection::Request::DESCRIBE_TRACKS);
    for (const auto wanted : toRead(id)) {
        request.add_track_id(wanted);
    }
    tracks.clear();
    auto answer = connection.ask(request);
    readAt = Clock::now();
    for (auto& track : *answer.mutable_track()) {
        tracks.emplace(track.id(), std::move(track));
    }
}

}  // namespace tarn::storage_client
