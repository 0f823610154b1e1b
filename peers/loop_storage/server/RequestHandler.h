#pragma once

#include <functional>

#include "peers/loop_storage/operations/Storage.h"
#include "proto/storage_wire.fwd.h"

namespace tarn::peers::loop_storage {

using Request = tarn::proto::storage_wire::Request;
using Answer = tarn::proto::storage_wire::Answer;

/// What becomes of a request. Called once, on any thread, maybe before the handler returns.
using Answered = std::function<void(const Answer&)>;

/// Fills the answer that tells of a failure.
Answer failureAnswer(const std::exception& failure);

/// Answers every request that is not a reader's or writer's: at once, or on a thread of the storage
/// when it has to wait for the disk. Throws StorageError, std::system_error instead of answering.
void handleRequest(Storage& storage, const Request& request, const Answered& answered);

}  // namespace tarn::peers::loop_storage
