#include "cli/BatchSequence.h"

#include <utility>

#include "proto/service_event.pb.h"

namespace tarn::cli {

using Kind = BatchSequence::Finding::Kind;

BatchSequence::Finding BatchSequence::next(const proto::service_event::ServiceEventBatch& batch) {
    if (!batch.has_sequence()) {
        return {.kind = Kind::Batch};
    }
    const Kind kind = batch.catch_up() ? Kind::CatchUp : Kind::Batch;
    if (kind == Kind::Batch && batch.sequence() == 0) {
        return {};
    }
    const std::string before = std::exchange(gateway, batch.gateway_instance());
    if (before != gateway) {
        last = batch.sequence();
        return {.kind = kind, .otherGateway = !before.empty()};
    }
    // A catch-up has the number of the batch before it.
    const std::uint64_t lastIfComplete = last + (kind == Kind::Batch ? 1 : 0);
    if (batch.sequence() < lastIfComplete) {
        return {};
    }
    last = batch.sequence();
    return {.kind = kind, .lost = last - lastIfComplete};
}

}  // namespace tarn::cli
