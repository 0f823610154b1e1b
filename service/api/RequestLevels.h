#pragma once

#include "platform/access/Level.h"
#include "proto/api_service.pb.h"

/// Which level a request needs, by its kind and by what it asks for.
namespace tarn::service::requests {

using access::Level;

template <Level level>
Level always(const tarn::proto::api_service::ApiToServiceRequest&) {
    return level;
}

/// A persistent job comes back with every start of the service.
Level levelOfSubmission(const tarn::proto::api_service::ApiToServiceRequest& request);

/// What a track holds is lost with what shrinks, clears or destroys it.
Level levelOfStorageRequest(const tarn::proto::api_service::ApiToServiceRequest& request);

}  // namespace tarn::service::requests
