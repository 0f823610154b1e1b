#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "proto/service_event.fwd.h"

namespace tarn::cli {

/// Looks at the numbers that service and gateway give their batches, and notices those that are
/// missing: the service's, which also tell what the gateway never had, and the gateway's. Of
/// batches without numbers nothing is known.
class BatchSequence {
  public:
    struct Finding {
        enum class Kind {
            Nothing,  ///< means nothing, or was seen before
            CatchUp,  ///< the last tree, for having come late
            Batch,
        };
        Kind kind = Kind::Nothing;
        std::uint64_t lost = 0;     ///< so many in front of this one have not come
        bool otherGateway = false;  ///< it was started again; what was lost is not known
        bool otherService = false;  ///< likewise

        /// Whether a tree that was known before may be outdated now.
        bool mayHaveMissed() const { return lost > 0 || otherGateway || otherService; }
    };

    /// To be called with each in turn.
    Finding next(const proto::service_event::ServiceEventBatch& batch);

  private:
    Finding ofGateway(const proto::service_event::ServiceEventBatch& batch);
    Finding ofService(const proto::service_event::ServiceEventBatch& batch);

    std::string gateway;  // empty while none is known
    std::uint64_t last = 0;
    std::string service;  // likewise
    std::optional<std::uint64_t> lastOfService;
};

}  // namespace tarn::cli
