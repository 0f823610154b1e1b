#pragma once

#include <cstdint>
#include <string>

namespace tarn::proto::service_event {
class ServiceEventBatch;
}

namespace tarn::cli {

/// Looks at the numbers that the gateway gives its batches, and notices those that are missing.
/// Batches that come from the service itself have no numbers: of them nothing is known.
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
    };

    /// To be called with each in turn.
    Finding next(const proto::service_event::ServiceEventBatch& batch);

  private:
    std::string gateway;  // empty while none is known
    std::uint64_t last = 0;
};

}  // namespace tarn::cli
