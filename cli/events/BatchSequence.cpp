#include "cli/events/BatchSequence.h"

#include <algorithm>
#include <utility>

#include "proto/service_event.pb.h"

namespace tarn::cli {

using Kind = BatchSequence::Finding::Kind;

using proto::service_event::ServiceEventBatch;

// What the gateway has lost is missing among the service's numbers, too.
BatchSequence::Finding BatchSequence::next(const ServiceEventBatch& batch) {
    Finding finding = ofGateway(batch);
    if (finding.kind != Kind::Nothing) {
        const Finding more = ofService(batch);
        finding.lost = std::max(finding.lost, more.lost);
        finding.otherService = more.otherService;
    }
    return finding;
}

BatchSequence::Finding BatchSequence::ofService(const ServiceEventBatch& batch) {
    if (batch.catch_up()) {
        lastOfService.reset();  // its number tells what was missed
    }
    if (!batch.has_service_sequence()) {
        return {};
    }
    const std::string before = std::exchange(service, batch.service_instance());
    const auto lastBefore = std::exchange(lastOfService, batch.service_sequence());
    if (before != service) {
        return {.otherService = !before.empty()};
    }
    const auto number = batch.service_sequence();
    return {.lost = lastBefore && number > *lastBefore ? number - *lastBefore - 1 : 0};
}

BatchSequence::Finding BatchSequence::ofGateway(const ServiceEventBatch& batch) {
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
