#pragma once

#include <vector>

#include "tests/chaos/Model.h"
#include "tests/system/Api.h"

namespace tarn::chaos {

class PersistentFolder;

/// The launchers that became jobs or are about to.
std::vector<World::Launcher> launchers();
std::vector<World::Pipeline> pipelines();

/// Everything, as far as it can be seen. `known` are the ids of programs that belong here.
World observe(const PersistentFolder& folder, const std::vector<pid_t>& known);

/// What a running service lists; nothing when it does not answer.
std::optional<std::vector<test::JobAddress>> listedJobs();

}  // namespace tarn::chaos
