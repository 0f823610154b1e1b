#pragma once

#include <string>

#include "proto/loop_storage.pb.h"

namespace tarn::service::devices {

namespace loop_storage = tarn::proto::loop_storage;

/// A reply without an extension.
inline void succeed(loop_storage::Reply& reply, loop_storage::Reply::Type type) {
    reply.set_type(type);
    reply.set_success(true);
}

/// A reply with one, which is then filled.
template <typename Content>
Content& succeedWith(loop_storage::Reply& reply, loop_storage::Reply::Type type) {
    succeed(reply, type);
    return *reply.MutableExtension(Content::base);
}

/// A proper reply that tells of a failure.
inline void fail(loop_storage::Reply& reply, const std::string& reason) {
    reply.set_success(false);
    reply.set_error_message(reason);
}

/// Without one it would be the track of number 0.
template <typename TrackRequest>
bool namesTrack(const TrackRequest& request, std::string& error) {
    if (!request.has_track_id()) {
        error = "The request names no track";
    }
    return request.has_track_id();
}

}  // namespace tarn::service::devices
