#pragma once

#include <chrono>

#include "proto/service_event.fwd.h"

namespace tarn::cli {

/// Where the service's batches of events come from. Used by one thread.
class BatchSource {
  public:
    enum class Received { Nothing, Batch, Garbage };

    virtual ~BatchSource() = default;

    /// Waits for the next message; Nothing when `bound` passed, or `interruption` can be read.
    virtual Received next(proto::service_event::ServiceEventBatch& batch,
                          std::chrono::milliseconds bound, int interruption) = 0;
};

}  // namespace tarn::cli
