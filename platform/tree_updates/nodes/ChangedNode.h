#pragma once

#include "proto/monitoring.fwd.h"
#include "proto/service_event.fwd.h"

namespace tarn::tree_updates {

/// Makes of an orderly node what it is by the difference. False for a difference that does not fit
/// it, or that would leave it disorderly: then the node is of no use any more. Takes over, and
/// empties, what the difference brings.
bool apply(proto::service_event::TreeDifference& difference, proto::monitoring::DeviceNode& node);

/// Sub-devices everywhere in the order of their ids; of those with the same id the last one stays.
/// Little work where they are orderly already.
void putInOrder(proto::monitoring::DeviceNode& node);

}  // namespace tarn::tree_updates
