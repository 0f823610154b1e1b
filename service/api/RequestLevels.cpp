#include "service/api/RequestLevels.h"

namespace tarn::service::requests {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ApiToServiceRequestJobSubmission;
using tarn::proto::api_service::ApiToServiceRequestLoopStorage;
using Storage = tarn::proto::loop_storage::Request;

Level levelOfSubmission(const ApiToServiceRequest& request) {
    const auto& submission = request.GetExtension(ApiToServiceRequestJobSubmission::base);
    return submission.persistent() ? Level::Admin : Level::Operate;
}

// No default: a kind of request that comes to be is looked at here.
Level levelOfStorageRequest(const ApiToServiceRequest& request) {
    switch (request.GetExtension(ApiToServiceRequestLoopStorage::base).request().type()) {
        case Storage::UNKNOWN:  // refused for what it is
        case Storage::GET_TICKET_STATUS:
        case Storage::GET_TRACK_SIZE:
        case Storage::GET_REMAINING_SPACE:
        case Storage::GET_TRACK_PROPERTIES:
        case Storage::GET_WORKERS:
            return Level::Read;
        case Storage::SET_TRACK_PROPERTIES:
        case Storage::REMOVE_TRACK_PROPERTIES:
            return Level::Operate;
        case Storage::CREATE_TRACK:
        case Storage::RESIZE_TRACK:
        case Storage::CLEAR_TRACK:
        case Storage::DESTROY_TRACK:
        case Storage::EVICT_WORKER:
            return Level::Admin;
    }
    return Level::Admin;
}

}  // namespace tarn::service::requests
