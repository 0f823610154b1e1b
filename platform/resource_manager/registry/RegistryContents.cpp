#include "platform/resource_manager/registry/RegistryContents.h"

#include <algorithm>

namespace tarn::resource_manager {

namespace {

auto hasId(const std::string& jobId) {
    return [&jobId](const RunningJob& job) { return job.getJobDescription().getJobId() == jobId; };
}

}  // namespace

const RunningJob* RegistryContents::find(const std::string& jobId) const {
    const auto found = std::find_if(jobs.begin(), jobs.end(), hasId(jobId));
    return found == jobs.end() ? nullptr : &*found;
}

void RegistryContents::apply(const RegistryChange& change) {
    for (const auto& jobId : change.removed) {
        std::erase_if(jobs, hasId(jobId));
    }
    if (change.entered) {
        const auto place = std::find_if(jobs.begin(), jobs.end(),
                                        hasId(change.entered->getJobDescription().getJobId()));
        if (place != jobs.end()) {
            *place = *change.entered;
        } else {
            jobs.push_back(*change.entered);
        }
    }
    if (change.deltacastConfiguration) {
        deltacastConfiguration = change.deltacastConfiguration;
    }
}

}  // namespace tarn::resource_manager
