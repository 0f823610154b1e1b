#include "peers/loop_storage/server/RequestGate.h"

#include "peers/loop_storage/StorageError.h"
#include "platform/access/Refusal.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

using access::Level;
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

void RequestGate::check(const Request& request, const ClientIdentity& client) {
    const auto needed = levelFor(request);
    const auto level = client.level();
    if (level >= needed) {
        return;
    }
    const auto refusal = access::textOfRefusal(needed, client.name(), level);
    refused.lock()->log(Request::Type_Name(request.type()) + ": " + refusal);
    throw StorageError(TARN_STORAGE_ERROR_ARGUMENT, refusal);
}

}  // namespace tarn::peers::loop_storage
