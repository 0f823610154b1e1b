#pragma once

#include <optional>

#include "tests/chaos/machine/Places.h"
#include "tests/chaos/model/FollowerChecks.h"
#include "tests/chaos/model/World.h"

namespace tarn::chaos {

class Machine;

/// What the host monitor, the large device and the loop storage say of themselves; nothing when one
/// does not answer.
std::optional<Devices> realDevices(const Machine& machine);

/// The tree as the service gives it.
std::optional<Devices> toldDevices(const Places& places);

/// The same tree with everything that it says, as followers are compared with it; nothing when it
/// does not come soon.
std::optional<DescribedDevices> servedDescriptions(const Places& places);

/// Whether the gateway takes newcomers.
bool gatewayIsThere(const Places& places);

/// The tree as the gateway gives it to a newcomer.
std::optional<Devices> publishedDevices(const Places& places);

}  // namespace tarn::chaos
