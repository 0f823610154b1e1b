#include "platform/resource_manager/registry/Registry.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MachineTime.h"

namespace tarn::resource_manager {

using tarn::test::ForkedProcess;
using test::deadJob;
using test::idOf;
using test::idsOf;
using test::jobOf;
using test::jobOfThisProcess;
using test::refusalOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RegistryRulesTest : public testing::Test {
  protected:
    std::string refusal(const RunningJob& job) {
        return refusalOf([&] { registry.registerJob(job); });
    }

    Registry registry;
};

TEST_F(RegistryRulesTest, ListsJobsInTheOrderOfTheirRegistration) {
    for (const auto* id : {"b", "c", "a"}) {
        registry.registerJob(jobOfThisProcess(id));
    }
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("b", "c", "a"));
}

TEST_F(RegistryRulesTest, FindsAJobByItsId) {
    registry.registerJob(jobOfThisProcess("a"));
    EXPECT_EQ(idOf(registry.runningJobWithUuid("a")), "a");
    EXPECT_EQ(idOf(registry.runningJobWithUuid("b")), "");
    EXPECT_EQ(idOf(registry.runningJobWithUuid("")), "");
}

TEST_F(RegistryRulesTest, RefusesAJobWithoutAnId) {
    EXPECT_EQ(refusal(jobOfThisProcess("")), "A job without an identifier cannot register");
    EXPECT_THAT(registry.runningJobs(), IsEmpty());
}

TEST_F(RegistryRulesTest, ShowsIdsInItsTextsWithoutHarm) {
    EXPECT_THAT(refusal(deadJob("x\nFATAL forged line")),
                HasSubstr("job x\\nFATAL forged line is"));
    EXPECT_LT(refusal(deadJob(std::string(100000, 'x'))).size(), 200U);
}

TEST_F(RegistryRulesTest, RefusesAJobWhoseProcessIsNotRunning) {
    EXPECT_THAT(refusal(deadJob("a")), HasSubstr("of job a is not running"));
    EXPECT_THAT(refusal(jobOf({}, "a")), HasSubstr("The process 0 of job a is not running"));
    EXPECT_THAT(registry.runningJobs(), IsEmpty());
}

TEST_F(RegistryRulesTest, LooksUpAStartTimeThatIsNotKnown) {
    registry.registerJob(jobOf({os::ProcessIdentity::ofThisProcess().id, 0}, "a"));
    EXPECT_EQ(registry.runningJobWithUuid("a").getProcess(), os::ProcessIdentity::ofThisProcess());
}

TEST_F(RegistryRulesTest, RefusesAnIdThatRuns) {
    const ForkedProcess child;
    registry.registerJob(jobOf(child.identity(), "a"));
    EXPECT_EQ(refusal(jobOfThisProcess("a")),
              "Already running: job a, as process " + std::to_string(child.identity().id));
    EXPECT_EQ(registry.runningJobWithUuid("a").getProcess(), child.identity());
}

TEST_F(RegistryRulesTest, ReplacesTheEntryOfTheSameProcessAtItsPlace) {
    registry.registerJob(jobOfThisProcess("a", {"tcp://h:1"}));
    registry.registerJob(jobOfThisProcess("b"));
    registry.registerJob(jobOfThisProcess("a", {"tcp://h:2"}));
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("a", "b"));
    EXPECT_THAT(registry.usedResources("Endpoint"), ElementsAre("tcp://h:2"));
}

TEST_F(RegistryRulesTest, RefusesAnEndpointThatARunningJobHolds) {
    registry.registerJob(jobOfThisProcess("a", {"tcp://h:1", "tcp://h:2"}));
    EXPECT_EQ(refusal(jobOfThisProcess("b", {"tcp://h:3", "tcp://h:2"})),
              "Endpoint tcp://h:2 is held by job a");
    EXPECT_THAT(registry.usedResources("Endpoint"), ElementsAre("tcp://h:1", "tcp://h:2"));
}

TEST_F(RegistryRulesTest, TakesNoLongerForJobsThatHoldThousandsOfEndpoints) {
    constexpr int many = 400000;
    std::vector<std::string> of[2];
    for (int i = 0; i < many; ++i) {
        of[i % 2].push_back("tcp://h:" + std::to_string(many + i));
    }
    const auto self = os::ProcessIdentity::ofThisProcess();
    const tarn::test::MachineTime time;
    registry.registerJob(jobOf(self, "a", {{"Endpoint", of[0]}}));
    registry.registerJob(jobOf(self, "b", {{"Endpoint", of[1]}}));
    EXPECT_LT(time.elapsed(), std::chrono::seconds(10));
}

TEST_F(RegistryRulesTest, LetsJobsShareOtherResourcesAndEmptyEndpoints) {
    const auto self = os::ProcessIdentity::ofThisProcess();
    registry.registerJob(jobOf(self, "a", {{"Board", {"1"}}, {"Endpoint", {"", ""}}}));
    registry.registerJob(jobOf(self, "b", {{"Board", {"1"}}, {"Endpoint", {"", ""}}}));
    EXPECT_THAT(registry.usedResources("Board"), ElementsAre("1", "1"));
    EXPECT_THAT(registry.usedResources("Nothing"), IsEmpty());
}

TEST_F(RegistryRulesTest, FreesWhatAJobHeldWhenItLeaves) {
    registry.registerJob(jobOfThisProcess("a", {"tcp://h:1"}));
    registry.unregisterJob("a", os::ProcessIdentity::ofThisProcess());
    EXPECT_THAT(registry.usedResources("Endpoint"), IsEmpty());
    EXPECT_EQ(refusal(jobOfThisProcess("b", {"tcp://h:1"})), "");
}

TEST_F(RegistryRulesTest, LetsOnlyTheProcessThatRegisteredAJobRemoveIt) {
    const ForkedProcess child;
    registry.registerJob(jobOf(child.identity(), "a"));
    EXPECT_THAT(
        refusalOf([&] { registry.unregisterJob("a", os::ProcessIdentity::ofThisProcess()); }),
        HasSubstr("Not removed: job a was registered by another process"));
    registry.unregisterJob("a", {child.identity().id, 0});
    EXPECT_THAT(registry.runningJobs(), IsEmpty());
}

TEST_F(RegistryRulesTest, AcceptsThatAnUnknownJobLeaves) {
    EXPECT_EQ(refusalOf([&] { registry.unregisterJob("x", {1, 1}); }), "");
    EXPECT_EQ(refusalOf([&] { registry.unregisterJob("", {1, 1}); }), "");
}

TEST_F(RegistryRulesTest, RefusesJobsWhileTheServiceStops) {
    registry.registerJob(jobOfThisProcess("a"));
    registry.refuseRegistrations();
    EXPECT_EQ(refusal(jobOfThisProcess("b")), "The service is stopping: job b cannot register");
    registry.unregisterJob("a", os::ProcessIdentity::ofThisProcess());
    EXPECT_THAT(registry.runningJobs(), IsEmpty());
}

TEST_F(RegistryRulesTest, ChangesNothingOnceClosed) {
    registry.close();
    registry.refuseRegistrations();
    EXPECT_EQ(refusal(jobOfThisProcess("b")), "The resource manager has terminated");
    EXPECT_EQ(refusalOf([&] { registry.clearDeadProcesses(); }),
              "The resource manager has terminated");
    EXPECT_EQ(refusalOf([&] { registry.setDeltacastConfiguration({}); }),
              "The resource manager has terminated");
}

TEST_F(RegistryRulesTest, RemembersTheLastCaptureConfiguration) {
    EXPECT_EQ(registry.deltacastConfiguration(), DeltacastConfiguration());
    registry.setDeltacastConfiguration({"rgb24", "1 ", "0 ", 720, "p", 50});
    registry.setDeltacastConfiguration({"rgb24", "2 ", "0 ", 720, "p", 60});
    EXPECT_EQ(registry.deltacastConfiguration(),
              DeltacastConfiguration("rgb24", "2 ", "0 ", 720, "p", 60));
}

TEST_F(RegistryRulesTest, GivesTheJobsThatMatch) {
    const auto self = os::ProcessIdentity::ofThisProcess();
    registry.registerJob(jobOf(self, "a", {{"Studio", {"1"}}}));
    registry.registerJob(jobOf(self, "b", {{"Studio", {"2"}}}));
    registry.registerJob(jobOf(self, "c", {{"Studio", {"1"}}}));
    EXPECT_THAT(idsOf(registry.jobsThatMatch({"Studio", "1"})), ElementsAre("a", "c"));
    PropertyMatch others{"Studio", "1"};
    others.wanted = PropertyMatch::Wanted::NotMatching;
    EXPECT_THAT(idsOf(registry.jobsThatMatch(others)), ElementsAre("b"));
}

class RegistryWithDeadJobsTest : public testing::Test {
  protected:
    tarn::test::LogCapture log{tarn::utils::LogLevel::Info};
    Registry registry{{.jobs = {deadJob("dead", {"tcp://h:1"}), jobOfThisProcess("alive"),
                                deadJob("gone", {"tcp://h:2"})},
                       .deltacastConfiguration = {}}};
    const std::string id = std::to_string(os::ProcessIdentity::ofThisProcess().id);
};

TEST_F(RegistryWithDeadJobsTest, ListsThemUntilTheyAreCleared) {
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("dead", "alive", "gone"));
    registry.clearDeadProcesses();
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("alive"));
}

TEST_F(RegistryWithDeadJobsTest, HasThemTidiedUpOnce) {
    std::vector<std::string> tidied;
    Registry tidy({.jobs = {deadJob("dead"), jobOfThisProcess("alive"), deadJob("gone")},
                   .deltacastConfiguration = {}},
                  nullptr, [&](const RunningJob& job) { tidied.push_back(idOf(job)); });
    tidy.clearDeadProcesses();
    EXPECT_THAT(tidied, ElementsAre("dead", "gone"));
    tidy.clearDeadProcesses();
    EXPECT_EQ(tidied.size(), 2U);
}

TEST_F(RegistryWithDeadJobsTest, SaysForEachThatItWasRemoved) {
    registry.clearDeadProcesses();
    registry.clearDeadProcesses();
    EXPECT_THAT(
        log.lines(),
        ElementsAre("INFO ResourceManager > Removed job dead: its process " + id + " is dead",
                    "INFO ResourceManager > Removed job gone: its process " + id + " is dead"));
}

TEST_F(RegistryWithDeadJobsTest, DoesNotFindThemByTheirId) {
    EXPECT_EQ(idOf(registry.runningJobWithUuid("dead")), "");
    EXPECT_EQ(idOf(registry.runningJobWithUuid("alive")), "alive");
}

TEST_F(RegistryWithDeadJobsTest, LetsANewProcessTakeTheirId) {
    registry.registerJob(jobOfThisProcess("dead", {"tcp://h:1"}));
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("alive", "gone", "dead"));
    EXPECT_EQ(idOf(registry.runningJobWithUuid("dead")), "dead");
}

TEST_F(RegistryWithDeadJobsTest, LetsAnotherJobTakeTheirEndpoints) {
    registry.registerJob(jobOfThisProcess("new", {"tcp://h:2", "tcp://h:1"}));
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("alive", "new"));
    EXPECT_TRUE(log.contains("Removed job dead"));
    EXPECT_TRUE(log.contains("Removed job gone"));
}

TEST_F(RegistryWithDeadJobsTest, RemovesAZombieAndAReapedJob) {
    ForkedProcess zombie;
    ForkedProcess reaped;
    registry.registerJob(jobOf(zombie.identity(), "zombie"));
    registry.registerJob(jobOf(reaped.identity(), "reaped"));
    zombie.killAndLeaveZombie();
    reaped.killAndReap();
    registry.clearDeadProcesses();
    EXPECT_THAT(idsOf(registry.runningJobs()), ElementsAre("alive"));
}

TEST(RegistryRaceTest, LetsExactlyOneOfManyJobsHaveAnEndpoint) {
    Registry registry;
    for (int round = 0; round < 50; ++round) {
        const auto endpoint = "tcp://h:" + std::to_string(round);
        std::atomic<int> winners = 0;
        {
            std::vector<std::jthread> jobs;
            for (int i = 0; i < 4; ++i) {
                jobs.emplace_back([&, id = std::to_string(round) + "-" + std::to_string(i)] {
                    if (refusalOf([&] {
                            registry.registerJob(jobOfThisProcess(id, {endpoint}));
                        }).empty()) {
                        ++winners;
                    }
                });
            }
        }
        EXPECT_EQ(winners, 1) << endpoint;
    }
    EXPECT_EQ(registry.runningJobs().size(), 50U);
}

TEST(RegistryRaceTest, LetsNoJobInOnceRegistrationsAreRefused) {
    Registry registry;
    std::atomic<bool> started = false;
    std::jthread job([&](const std::stop_token& stop) {
        for (int i = 0; !stop.stop_requested(); ++i) {
            refusalOf([&] { registry.registerJob(jobOfThisProcess(std::to_string(i))); });
            started = true;
            started.notify_one();
        }
    });
    started.wait(false);
    registry.refuseRegistrations();
    const auto lastWord = registry.runningJobs().size();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(registry.runningJobs().size(), lastWord);
    }
}

TEST(RegistryOfAThousandJobsTest, Answers) {
    Registry registry;
    for (int i = 0; i < 1000; ++i) {
        const auto number = std::to_string(i);
        registry.registerJob(jobOfThisProcess(number, {"tcp://h:" + number, "tcp://e:" + number}));
    }
    EXPECT_EQ(registry.runningJobs().size(), 1000U);
    EXPECT_EQ(registry.usedResources("Endpoint").size(), 2000U);
    EXPECT_EQ(idOf(registry.runningJobWithUuid("999")), "999");
    EXPECT_EQ(idsOf(registry.jobsThatMatch({"Endpoint", "tcp://h:500"})),
              std::vector<std::string>{"500"});
    EXPECT_EQ(refusalOf([&] { registry.registerJob(jobOfThisProcess("x", {"tcp://e:999"})); }),
              "Endpoint tcp://e:999 is held by job 999");
    registry.clearDeadProcesses();
    EXPECT_EQ(registry.runningJobs().size(), 1000U);
}

}  // namespace tarn::resource_manager
