#include "gateway/relay/ServiceSequence.h"

#include <utility>

#include "gateway/relay/BatchScanner.h"

namespace tarn::gateway {

ServiceSequence::Finding ServiceSequence::next(const ScannedBatch& batch) {
    if (batch.service.empty()) {
        return Finding::Follows;
    }
    const std::uint64_t before = std::exchange(last, batch.number);
    if (service != batch.service) {
        service = batch.service;
        return Finding::MayHaveMissing;
    }
    return batch.number == before + 1 ? Finding::Follows : Finding::MayHaveMissing;
}

}  // namespace tarn::gateway
