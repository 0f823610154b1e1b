#include <SQLiteCpp/SQLiteCpp.h>

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class KilledServiceTest : public SystemTest {};

TEST_F(KilledServiceTest, LeavesItsJobToTheNextOneWhichListsItAndCanStopIt) {
    startService();
    const auto job = startJob({.pipeline = endless, .properties = {{"studio", {"1"}}}});
    service().killHard();
    EXPECT_TRUE(job->status());

    startService();
    EXPECT_TRUE(isListed(job->id()));
    EXPECT_EQ(api().jobs("studio", "1")->size(), 1u);
    ASSERT_TRUE(api().submit({.pipeline = endless, .id = job->id()}));
    EXPECT_TRUE(service().waitForLog("Will not (re)create job with UUID " + job->id() +
                                     ": already running"));
    EXPECT_FALSE(service().log().contains("Creating workflow: "));

    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(eventuallyWithin(5s, [&] { return !isListed(job->id()); }));
}

// The only file of the registry's folder, as somebody else has it open.
SQLite::Database otherUserOfTheRegistry() {
    for (const auto& entry : std::filesystem::directory_iterator("/run/halden-tarn")) {
        if (entry.path().extension() == ".registry") {
            return {entry.path().string(), SQLite::OPEN_READWRITE, /*busyTimeoutMs=*/5000};
        }
    }
    throw std::runtime_error("there is no registry");
}

TEST_F(KilledServiceTest, LeavesJobsThatEnteredWhileSomebodyHeldItsRegistryToo) {
    startService();
    auto other = otherUserOfTheRegistry();
    std::optional<SQLite::Transaction> held(std::in_place, other,
                                            SQLite::TransactionBehavior::EXCLUSIVE);
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(service().waitForLog("Cannot store a change of the registry: "));
    held.reset();
    EXPECT_TRUE(eventuallyWithin(5s, [&] {
        SQLite::Statement stored(other, "SELECT count(*) FROM jobs WHERE job_id=?");
        stored.bind(1, job->id());
        return stored.executeStep() && stored.getColumn(0).getInt() == 1;
    }));
    EXPECT_TRUE(service().log().contains("The registry is stored again"));
    EXPECT_TRUE(job->destroy());
}

TEST_F(KilledServiceTest, LeavesItsJobToTheNextOneWhichStopsItAtItsOwnEnd) {
    startService();
    const auto job = startJob({.pipeline = endless});
    service().killHard();
    startService();
    EXPECT_EQ(service().stop(), Ending::exited(0));
    const auto end = job->waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), Job::End::DESTROYED);
}

TEST_F(KilledServiceTest, TenTimesInARowDoesNotDisturbTheJob) {
    startService();
    const auto job = startJob({.pipeline = endless});
    const auto pipeline = job->status()->pipeline_pid();
    for (int i = 0; i < 10; ++i) {
        service().killHard();
        startService();
        EXPECT_TRUE(isListed(job->id())) << "after kill " << i;
    }
    EXPECT_EQ(job->status()->pipeline_pid(), pipeline);
    EXPECT_TRUE(job->destroy());
}

TEST_F(KilledServiceTest, TenTimesInARowKeepsEveryJobAndEachNextOneListsThemWithinASecond) {
    startService();
    std::map<std::string, std::pair<std::unique_ptr<Job>, int>> jobs;  // with their process
    for (int n = 0; n < 6; ++n) {
        auto job = startJob({.pipeline = endless});
        const auto process = job->status()->pipeline_pid();
        const auto id = job->id();
        jobs.emplace(id, std::pair(std::move(job), process));
    }
    for (int kill = 0; kill < 10; ++kill) {
        service().killHard();
        startService();
        EXPECT_TRUE(eventuallyWithin(1s, [&] { return api().jobs()->size() == jobs.size(); }))
            << "after kill " << kill;
    }
    for (const auto& [id, entry] : jobs) {
        const auto& [job, process] = entry;
        EXPECT_EQ(job->status()->pipeline_pid(), process);
        EXPECT_EQ(job->status()->restarts(), 0U);
        EXPECT_TRUE(isListed(id));
    }
}

TEST_F(KilledServiceTest, AJobThatEndedMeanwhileIsNotListedByTheNextOne) {
    startService();
    const auto job = startJob({.pipeline = endless});
    service().killHard();
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(eventually([] { return processesRunning("tarnWorkflowLauncher").empty(); }));
    startService();
    EXPECT_TRUE(eventuallyWithin(3s, [&] { return !isListed(job->id()); }));
}

}  // namespace

}  // namespace tarn::test
