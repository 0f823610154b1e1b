#include "tests/system/jobs/PersistentFixture.h"

#include <stdexcept>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"

namespace tarn::test {

void PersistentFixture::SetUp() {
    SystemTest::SetUp();
    configureSections("<Paths><PersistentJobsFolder>" + std::string(jobsFolder) +
                      "</PersistentJobsFolder></Paths>");
    startService();
}

std::unique_ptr<Job> PersistentFixture::find(const std::string& id) {
    // Until then the list may still hold the one that ends.
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    std::optional<proto::api_service::ServiceToApiReplyGetJobByUuid> found;
    const auto isRunning = [&] {
        found = api().job(id);
        return found && found->has_running_job();
    };
    if (!eventually(isRunning)) {
        throw std::runtime_error("not running: " + id);
    }
    auto job = std::make_unique<Job>(JobAddress{id, found->running_job().command_endpoint(),
                                                found->running_job().event_endpoint()});
    EXPECT_TRUE(job->waitUntilPlaying());
    return job;
}

void PersistentFixture::expectLaunchers(std::size_t count) {
    const auto launchers = [] { return processesRunning("tarnWorkflowLauncher"); };
    EXPECT_TRUE(eventually([&] { return launchers().size() == count; })) << describe(launchers());
}

}  // namespace tarn::test
