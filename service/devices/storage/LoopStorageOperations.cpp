// What API clients ask a loop storage for, and what is done while they wait.
#include <cstddef>
#include <vector>

#include "platform/utils/Printable.h"
#include "proto/loop_storage.pb.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/LoopStorageReplies.h"

namespace tarn::service::devices {

namespace loop_storage = tarn::proto::loop_storage;

namespace {

/// Texts go to the library without a length.
bool isUsable(const std::string& text, std::string& error) {
    const bool usable = text.find('\0') == std::string::npos;
    if (!usable) {
        error = "The property text " + utils::quotedText(text) + " holds a zero byte";
    }
    return usable;
}

using Properties = StoragePointer<tarn_storage_property_list>;

/// Null, with the reason in `error`, when one of them cannot be used.
Properties toLibrary(const loop_storage::SetTrackPropertiesRequest& request, std::string& error) {
    Properties properties(tarn_storage_property_list_create());
    for (const auto& property : request.properties()) {
        if (!isUsable(property.name(), error) || !isUsable(property.value(), error)) {
            return nullptr;
        }
        tarn_storage_property_list_set(properties.get(), property.name().c_str(),
                                       property.value().c_str());
    }
    return properties;
}

void fill(loop_storage::GetTrackPropertiesReply& reply,
          const tarn_storage_property_list& properties) {
    const auto count = tarn_storage_property_list_get_count(&properties);
    for (std::size_t i = 0; i < count; ++i) {
        auto& property = *reply.add_properties();
        property.set_name(tarn_storage_property_list_get_name(&properties, i));
        property.set_value(tarn_storage_property_list_get_value(&properties, i));
    }
}

}  // namespace

bool LoopStorageDeviceController::handleApiRequest(Request& request, Reply& reply,
                                                   std::string& error) {
    const auto pass = [&](auto handler, const auto& extension) {
        return (this->*handler)(*request.MutableExtension(extension), reply, error);
    };
    using Self = LoopStorageDeviceController;
    using namespace tarn::proto::loop_storage;
    switch (request.type()) {
        case Request::GET_TICKET_STATUS:
            return pass(&Self::handleGetTicketStatusRequest, GetTicketStatusRequest::base);
        case Request::CREATE_TRACK:
            return pass(&Self::handleCreateTrackRequest, CreateTrackRequest::base);
        case Request::RESIZE_TRACK:
            return pass(&Self::handleResizeTrackRequest, ResizeTrackRequest::base);
        case Request::CLEAR_TRACK:
            return pass(&Self::handleClearTrackRequest, ClearTrackRequest::base);
        case Request::DESTROY_TRACK:
            return pass(&Self::handleDestroyTrackRequest, DestroyTrackRequest::base);
        case Request::SET_TRACK_PROPERTIES:
            return pass(&Self::handleSetTrackPropertiesRequest, SetTrackPropertiesRequest::base);
        case Request::GET_TRACK_SIZE:
            return pass(&Self::handleGetTrackSizeRequest, GetTrackSizeRequest::base);
        case Request::GET_REMAINING_SPACE:
            return pass(&Self::handleGetRemainingSpaceRequest, GetRemainingSpaceRequest::base);
        case Request::GET_TRACK_PROPERTIES:
            return pass(&Self::handleGetTrackPropertiesRequest, GetTrackPropertiesRequest::base);
        case Request::REMOVE_TRACK_PROPERTIES:
            return pass(&Self::handleRemoveTrackPropertiesRequest,
                        RemoveTrackPropertiesRequest::base);
        case Request::GET_WORKERS:
            return pass(&Self::handleGetWorkersRequest, GetWorkersRequest::base);
        case Request::EVICT_WORKER:
            return pass(&Self::handleEvictWorkerRequest, EvictWorkerRequest::base);
        default:
            error = formatMessage("Storage device controller: request type not handled");
            return false;
    }
}

bool LoopStorageDeviceController::operate(const Operation& operation, std::string& error) const {
    const auto ownConnection = createConnection();
    if (!ownConnection) {
        error = "No connection to storage server";
        return false;
    }
    StorageError failure;
    operation(ownConnection.get(), failure.get());
    if (failure.isSet()) {
        error = failure.message();
        return false;
    }
    return true;
}

bool LoopStorageDeviceController::handleClearTrackRequest(
    const loop_storage::ClearTrackRequest& request, Reply& reply, std::string& error) {
    const auto clear = [&](auto* server, auto* failure) {
        tarn_storage_track_clear(server, request.track_id(), failure);
    };
    if (!namesTrack(request, error) || !operate(clear, error)) {
        return false;
    }
    succeed(reply, Reply::CLEAR_TRACK);
    return true;
}

bool LoopStorageDeviceController::handleSetTrackPropertiesRequest(
    const loop_storage::SetTrackPropertiesRequest& request, Reply& reply, std::string& error) {
    if (!namesTrack(request, error)) {
        return false;
    }
    const auto properties = toLibrary(request, error);
    const auto set = [&](auto* server, auto* failure) {
        tarn_storage_track_set_properties(server, request.track_id(), properties.get(), failure);
    };
    if (!properties || !operate(set, error)) {
        return false;
    }
    succeed(reply, Reply::SET_TRACK_PROPERTIES);
    return true;
}

bool LoopStorageDeviceController::handleGetTrackSizeRequest(
    const loop_storage::GetTrackSizeRequest& request, Reply& reply, std::string& error) {
    std::int64_t size = 0;
    const auto read = [&](auto* server, auto* failure) {
        size = tarn_storage_track_get_size(server, request.track_id(), failure);
    };
    if (!namesTrack(request, error) || !operate(read, error)) {
        return false;
    }
    succeedWith<loop_storage::GetTrackSizeReply>(reply, Reply::GET_TRACK_SIZE).set_size(size);
    return true;
}

bool LoopStorageDeviceController::handleGetRemainingSpaceRequest(
    const loop_storage::GetRemainingSpaceRequest&, Reply& reply, std::string& error) {
    std::int64_t space = 0;
    const auto read = [&](auto* server, auto* failure) {
        space = tarn_storage_get_remaining_space(server, failure);
    };
    if (!operate(read, error)) {
        return false;
    }
    succeedWith<loop_storage::GetRemainingSpaceReply>(reply, Reply::GET_REMAINING_SPACE)
        .set_remaining_space(space);
    return true;
}

bool LoopStorageDeviceController::handleGetTrackPropertiesRequest(
    const loop_storage::GetTrackPropertiesRequest& request, Reply& reply, std::string& error) {
    Properties properties;
    const auto read = [&](auto* server, auto* failure) {
        properties.reset(tarn_storage_track_get_properties(server, request.track_id(), failure));
    };
    if (!namesTrack(request, error) || !operate(read, error)) {
        return false;
    }
    fill(succeedWith<loop_storage::GetTrackPropertiesReply>(reply, Reply::GET_TRACK_PROPERTIES),
         *properties);
    return true;
}

bool LoopStorageDeviceController::handleRemoveTrackPropertiesRequest(
    const loop_storage::RemoveTrackPropertiesRequest& request, Reply& reply, std::string& error) {
    std::vector<const char*> names;
    for (const auto& name : request.names()) {
        if (!isUsable(name, error)) {
            return false;
        }
        names.push_back(name.c_str());
    }
    const auto remove = [&](auto* server, auto* failure) {
        tarn_storage_track_remove_properties(server, request.track_id(), names.data(), names.size(),
                                             failure);
    };
    if (!namesTrack(request, error) || !operate(remove, error)) {
        return false;
    }
    succeed(reply, Reply::REMOVE_TRACK_PROPERTIES);
    return true;
}

}  // namespace tarn::service::devices
