#include "tests/service/devices/support/StorageRequests.h"

namespace tarn::test::storage_requests {

using namespace proto::loop_storage;

namespace {

/// A request of that type, whose content `fill` completes.
template <typename Content, typename Fill>
Request make(Request::Type type, const Fill& fill) {
    Request request;
    request.set_type(type);
    fill(*request.MutableExtension(Content::base));
    return request;
}

template <typename Content>
Request ofTrack(Request::Type type, std::int64_t track) {
    return make<Content>(type, [&](auto& content) { content.set_track_id(track); });
}

}  // namespace

Request ticketStatus(std::int64_t ticket) {
    return make<GetTicketStatusRequest>(Request::GET_TICKET_STATUS,
                                        [&](auto& content) { content.set_ticket(ticket); });
}

Request createTrack(std::uint64_t size) {
    return make<CreateTrackRequest>(Request::CREATE_TRACK,
                                    [&](auto& content) { content.set_size(size); });
}

Request resizeTrack(std::int64_t track, std::uint64_t size) {
    return make<ResizeTrackRequest>(Request::RESIZE_TRACK, [&](auto& content) {
        content.set_track_id(track);
        content.set_size(size);
    });
}

Request clearTrack(std::int64_t track) {
    return ofTrack<ClearTrackRequest>(Request::CLEAR_TRACK, track);
}

Request destroyTrack(std::int64_t track) {
    return ofTrack<DestroyTrackRequest>(Request::DESTROY_TRACK, track);
}

Request setProperties(std::int64_t track, const std::map<std::string, std::string>& wanted) {
    return make<SetTrackPropertiesRequest>(Request::SET_TRACK_PROPERTIES, [&](auto& content) {
        content.set_track_id(track);
        for (const auto& [name, value] : wanted) {
            auto& property = *content.add_properties();
            property.set_name(name);
            property.set_value(value);
        }
    });
}

Request trackSize(std::int64_t track) {
    return ofTrack<GetTrackSizeRequest>(Request::GET_TRACK_SIZE, track);
}

Request remainingSpace() {
    return make<GetRemainingSpaceRequest>(Request::GET_REMAINING_SPACE, [](auto&) {});
}

Request properties(std::int64_t track) {
    return ofTrack<GetTrackPropertiesRequest>(Request::GET_TRACK_PROPERTIES, track);
}

Request workers() {
    return make<GetWorkersRequest>(Request::GET_WORKERS, [](auto&) {});
}

Request evictWorker(std::int64_t worker) {
    return make<EvictWorkerRequest>(Request::EVICT_WORKER,
                                    [&](auto& content) { content.set_worker_id(worker); });
}

Request removeProperties(std::int64_t track, const std::vector<std::string>& names) {
    return make<RemoveTrackPropertiesRequest>(Request::REMOVE_TRACK_PROPERTIES, [&](auto& content) {
        content.set_track_id(track);
        for (const auto& name : names) {
            content.add_names(name);
        }
    });
}

std::int64_t ticketIn(const Reply& reply) {
    switch (reply.type()) {
        case Reply::CREATE_TRACK:
            return reply.GetExtension(CreateTrackReply::base).ticket();
        case Reply::RESIZE_TRACK:
            return reply.GetExtension(ResizeTrackReply::base).ticket();
        case Reply::DESTROY_TRACK:
            return reply.GetExtension(DestroyTrackReply::base).ticket();
        default:
            return 0;
    }
}

}  // namespace tarn::test::storage_requests
