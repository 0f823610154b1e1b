#pragma once

#include <string>
#include <vector>

#include "tests/chaos/model/World.h"

namespace tarn::chaos {

/// Compares what is told of the devices with what they are, and adds what differs, one line each.
void checkDevices(const World& world, std::vector<std::string>& problems);

}  // namespace tarn::chaos
