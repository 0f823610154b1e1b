#pragma once

#include <cstdint>
#include <string>

namespace tarn::gateway {

struct ScannedBatch;

/// Looks at the numbers that the service gives its batches, and notices where some are missing. One
/// thread at a time.
class ServiceSequence {
  public:
    enum class Finding {
        Follows,         ///< nothing is missing in front of it, as far as numbers tell
        MayHaveMissing,  ///< numbers were left out, or it is the first of this service that is seen
    };

    /// To be called with each in turn. Of batches without numbers nothing is known: they follow.
    Finding next(const ScannedBatch& batch);

  private:
    std::string service;  // empty while none is known
    std::uint64_t last = 0;
};

}  // namespace tarn::gateway
