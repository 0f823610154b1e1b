#pragma once

#include <exception>
#include <string>

#include "platform/storage_client/connection/Failure.h"
#include "platform/storage_client/tarn_storage.h"

struct tarn_storage_error {
    int type = TARN_STORAGE_OK;
    std::string message;
};

namespace tarn::storage_client {

/// Runs a call's body at the edge to C: whatever it throws goes into `error`, and the result is
/// `onFailure` then.
template <typename Result, typename Body>
Result guarded(tarn_storage_error* error, Result onFailure, Body body) noexcept {
    error->type = TARN_STORAGE_OK;
    error->message.clear();
    try {
        return body();
    } catch (const Failure& failure) {
        error->type = failure.type();
        error->message = failure.what();
    } catch (const std::exception& exception) {
        error->type = TARN_STORAGE_ERROR_SERVER;
        error->message = std::string("The client library failed: ") + exception.what();
    }
    return onFailure;
}

}  // namespace tarn::storage_client
