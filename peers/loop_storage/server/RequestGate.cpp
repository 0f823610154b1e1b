#include "peers/loop_storage/server/RequestGate.h"

#include "peers/loop_storage/StorageError.h"
#include "platform/access/Refusal.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

using access::Level;
using access::TrackAccess;
using proto::storage_wire::Answer;
using proto::storage_wire::Request;

// Without a default: a further kind of request cannot be added without a level.
Level levelFor(const Request& request) {
    switch (request.type()) {
        case Request::UNKNOWN:
        case Request::REMAINING_SPACE:
        case Request::LIST_WORKERS:
        case Request::LIST_TRACKS:
        case Request::DESCRIBE_TRACKS:
        case Request::TICKET:
        case Request::ATTACH_READER:
        case Request::READ:
            return Level::Read;
        case Request::SET_PROPERTIES:
        case Request::REMOVE_PROPERTIES:
        case Request::ATTACH_WRITER:
        case Request::WRITE:
        case Request::FLUSH:
            return Level::Operate;
        case Request::CREATE_TRACK:
        case Request::RESIZE_TRACK:
        case Request::DESTROY_TRACK:
        case Request::CLEAR_TRACK:
        case Request::EVICT_WORKER:
            break;
    }
    return Level::Admin;
}

std::optional<TrackAccess> trackAccessFor(const Request& request) {
    switch (request.type()) {
        case Request::DESCRIBE_TRACKS:
        case Request::ATTACH_READER:
        case Request::READ:
            return TrackAccess::Read;
        case Request::SET_PROPERTIES:
        case Request::REMOVE_PROPERTIES:
        case Request::ATTACH_WRITER:
        case Request::WRITE:
        case Request::FLUSH:
            return TrackAccess::Write;
        case Request::UNKNOWN:
        case Request::REMAINING_SPACE:
        case Request::LIST_WORKERS:
        case Request::LIST_TRACKS:
        case Request::TICKET:
        case Request::CREATE_TRACK:
        case Request::RESIZE_TRACK:
        case Request::DESTROY_TRACK:
        case Request::CLEAR_TRACK:
        case Request::EVICT_WORKER:
            break;
    }
    return std::nullopt;
}

Answer visibleTo(const ClientIdentity& client, const Answer& answer) {
    if (!client.isRestricted() || (answer.track_id_size() == 0 && answer.worker_size() == 0)) {
        return answer;
    }
    Answer visible = answer;
    visible.clear_track_id();
    visible.clear_worker();
    for (const auto id : answer.track_id()) {
        if (client.mayUse(id, TrackAccess::Read)) {
            visible.add_track_id(id);
        }
    }
    for (const auto& worker : answer.worker()) {
        if (client.mayUse(worker.track_id(), TrackAccess::Read)) {
            *visible.add_worker() = worker;
        }
    }
    return visible;
}

void RequestGate::check(const Request& request, const ClientIdentity& client) {
    const auto needed = levelFor(request);
    if (const auto level = client.level(); level < needed) {
        refuse(request, access::textOfRefusal(needed, client.name(), level));
    }
    const auto wanted = trackAccessFor(request);
    for (const auto track : request.track_id()) {
        if (wanted && !client.mayUse(track, *wanted)) {
            refuse(request, "Access denied: " + client.name() + " may not " +
                                (*wanted == TrackAccess::Read ? "read" : "write") + " track " +
                                std::to_string(track));
        }
    }
}

void RequestGate::refuse(const Request& request, const std::string& refusal) {
    refused.lock()->log(Request::Type_Name(request.type()) + ": " + refusal);
    throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, refusal);
}

}  // namespace tarn::peers::loop_storage
