#pragma once

#include <cstddef>

#include "proto/monitoring.fwd.h"

namespace tarn::test {

/// Makes a device so many levels deep, itself counted.
void deepen(tarn::proto::monitoring::DeviceNode& device, unsigned levels);

/// Adds a property of so many bytes.
void enlarge(tarn::proto::monitoring::DeviceNode& device, std::size_t bytes);

}  // namespace tarn::test
