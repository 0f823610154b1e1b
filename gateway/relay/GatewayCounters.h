#pragma once

#include <cstdint>
#include <string>

namespace tarn::gateway {

/// What has gone through since the start. Bytes are those of whole batches, each counted once
/// however many subscribers there are.
struct GatewayCounters {
    std::uint64_t batchesIn = 0;
    std::uint64_t bytesIn = 0;
    std::uint64_t batchesOut = 0;
    std::uint64_t bytesOut = 0;
    std::uint64_t bytesOfUpdates = 0;
    std::uint64_t dropped = 0;      ///< messages that were no batches
    std::uint64_t catchUps = 0;     ///< newcomers that were given the last tree
    std::uint64_t subscribers = 0;  ///< at the moment; one of several topics counts as several
    std::uint64_t tooSlow = 0;      ///< times that a subscriber was found too slow
    std::uint64_t questions = 0;    ///< times that the service was asked for its tree

    std::uint64_t losses() const { return dropped + tooSlow; }

    /// One line.
    std::string text() const;
};

}  // namespace tarn::gateway
