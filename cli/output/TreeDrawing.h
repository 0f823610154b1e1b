#pragma once

#include <vector>

#include "cli/output/StyledLine.h"
#include "proto/monitoring.fwd.h"

namespace tarn::cli {

enum class Details {
    Statuses,
    StatusesAndProperties,
};

/// A device and all below it, a line each, with its global status; below each its named statuses.
///
///     System (system)
///     └─ studio-1 "Studio 1" (host)  warning: disk full
///        │  uptime: 3600
///        ├─ cpu0  ok
///        └─ cpu1  ok
std::vector<StyledLine> drawTree(const proto::monitoring::DeviceNode& root, Details details);

}  // namespace tarn::cli
