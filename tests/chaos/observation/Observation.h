#pragma once

#include <optional>
#include <vector>

#include "tests/chaos/machine/Places.h"
#include "tests/chaos/model/World.h"
#include "tests/system/harness/Api.h"

namespace tarn::chaos {

class Machine;

/// The launchers that became jobs or are about to.
std::vector<World::Launcher> launchers();
std::vector<World::Pipeline> pipelines();

/// Everything, as far as it can be seen.
World observe(Machine& machine);

/// What a running service lists; nothing when it does not answer.
std::optional<std::vector<test::JobAddress>> listedJobs(const Places& places);

}  // namespace tarn::chaos
