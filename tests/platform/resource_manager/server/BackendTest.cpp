#include "platform/resource_manager/server/Backend.h"

#include <gmock/gmock.h>

#include <atomic>
#include <ostream>
#include <thread>

#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "platform/resource_manager/server/LocalBackend.h"
#include "platform/resource_manager/server/SocketBackend.h"
#include "tests/platform/resource_manager/Endpoints.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

using test::idOf;
using test::idsOf;
using test::jobOf;
using test::jobOfThisProcess;
using test::refusalOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

enum class Way { Local, Socket };

void PrintTo(Way way, std::ostream* out) {
    *out << (way == Way::Local ? "Local" : "Socket");
}

// What a proxy sees is the same on both ways to the registry.
class BackendsTest : public testing::TestWithParam<Way> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(handler.start(endpoint));
        backend = newBackend();
    }

    std::unique_ptr<Backend> newBackend() const {
        if (GetParam() == Way::Local) {
            return std::make_unique<LocalBackend>(endpoint);
        }
        return std::make_unique<SocketBackend>(
            endpoint, SocketBackend::Bounds{std::chrono::seconds(2), std::chrono::seconds(5)});
    }

    tarn::test::TemporaryFolder folder;
    const tarn::socket::SocketEndpoint endpoint = test::freshIpcEndpoint();
    ResourceManagerRequestHandler handler{folder.path().string()};
    std::unique_ptr<Backend> backend;
    const os::ProcessIdentity self = os::ProcessIdentity::ofThisProcess();
};

TEST_P(BackendsTest, GiveBackAJobWithEverythingItSaid) {
    const auto job = jobOf({self.id, 0}, "a", {{"Endpoint", {"tcp://h:1"}}, {"x", {"", "y"}}});
    backend->registerJob(job);
    for (const auto& found : {backend->runningJobs().front(), backend->runningJobWithUuid("a"),
                              backend->jobsThatMatch({"x", "y"}).front()}) {
        EXPECT_EQ(idOf(found), "a");
        EXPECT_EQ(found.getJobDescription().getName(), job.getJobDescription().getName());
        EXPECT_EQ(found.getCommandEndpoint(), job.getCommandEndpoint());
        EXPECT_EQ(found.getEventEndpoint(), job.getEventEndpoint());
        EXPECT_EQ(found.getResources(), job.getResources());
        EXPECT_EQ(found.getProcess(), self);
    }
}

TEST_P(BackendsTest, ListInOrder) {
    EXPECT_THAT(backend->runningJobs(), IsEmpty());
    for (const auto* id : {"b", "c", "a"}) {
        backend->registerJob(jobOfThisProcess(id, {std::string("tcp://") + id + ":1"}));
    }
    EXPECT_THAT(idsOf(backend->runningJobs()), ElementsAre("b", "c", "a"));
    EXPECT_THAT(backend->usedResources("Endpoint"),
                ElementsAre("tcp://b:1", "tcp://c:1", "tcp://a:1"));
    EXPECT_THAT(backend->usedResources("Other"), IsEmpty());
}

TEST_P(BackendsTest, GiveAnEmptyJobForAnUnknownId) {
    EXPECT_EQ(idOf(backend->runningJobWithUuid("x")), "");
    EXPECT_EQ(backend->runningJobWithUuid("x").getCommandEndpoint(), "");
}

TEST_P(BackendsTest, PassOnEveryPartOfAMatch) {
    backend->registerJob(jobOf(self, "a", {{"Studio", {"North"}}}));
    backend->registerJob(jobOf(self, "b", {{"Studio", {"South"}}}));
    PropertyMatch match{"Studio", "NOR"};
    EXPECT_THAT(backend->jobsThatMatch(match), IsEmpty());
    match.letters = PropertyMatch::Letters::CaseIgnored;
    EXPECT_THAT(backend->jobsThatMatch(match), IsEmpty());
    match.compared = PropertyMatch::Compared::Beginning;
    EXPECT_THAT(idsOf(backend->jobsThatMatch(match)), ElementsAre("a"));
    match.value = "oRTh";
    EXPECT_THAT(backend->jobsThatMatch(match), IsEmpty());
    match.compared = PropertyMatch::Compared::AnyPart;
    EXPECT_THAT(idsOf(backend->jobsThatMatch(match)), ElementsAre("a"));
    match.wanted = PropertyMatch::Wanted::NotMatching;
    EXPECT_THAT(idsOf(backend->jobsThatMatch(match)), ElementsAre("b"));
}

TEST_P(BackendsTest, TellWhyAJobIsRefused) {
    backend->registerJob(jobOfThisProcess("a", {"tcp://h:1"}));
    EXPECT_EQ(refusalOf([&] { backend->registerJob(jobOfThisProcess("b", {"tcp://h:1"})); }),
              "Endpoint tcp://h:1 is held by job a");
    EXPECT_EQ(refusalOf([&] { backend->registerJob(jobOfThisProcess("")); }),
              "A job without an identifier cannot register");
    EXPECT_THAT(idsOf(backend->runningJobs()), ElementsAre("a"));
}

TEST_P(BackendsTest, RefuseJobsWhileTheServiceStops) {
    handler.refuseRegistrations();
    EXPECT_EQ(refusalOf([&] { backend->registerJob(jobOfThisProcess("a")); }),
              "The service is stopping: job a cannot register");
    EXPECT_THAT(backend->runningJobs(), IsEmpty());
}

TEST_P(BackendsTest, LetAJobLeave) {
    backend->registerJob(jobOfThisProcess("a"));
    backend->unregisterJob("a");
    EXPECT_THAT(backend->runningJobs(), IsEmpty());
    backend->unregisterJob("a");
}

TEST_P(BackendsTest, DoNotLetAJobRemoveAnother) {
    const tarn::test::ForkedProcess child;
    backend->registerJob(jobOf(child.identity(), "a"));
    EXPECT_THAT(refusalOf([&] { backend->unregisterJob("a"); }), HasSubstr("another process"));
    EXPECT_THAT(idsOf(backend->runningJobs()), ElementsAre("a"));
}

TEST_P(BackendsTest, ClearDeadJobs) {
    tarn::test::ForkedProcess child;
    backend->registerJob(jobOf(child.identity(), "a"));
    backend->registerJob(jobOfThisProcess("b"));
    child.killAndLeaveZombie();
    EXPECT_EQ(idOf(backend->runningJobWithUuid("a")), "");
    backend->clearDeadProcesses();
    EXPECT_THAT(idsOf(backend->runningJobs()), ElementsAre("b"));
}

TEST_P(BackendsTest, KeepTheCaptureConfiguration) {
    EXPECT_EQ(backend->deltacastConfiguration(), DeltacastConfiguration());
    const DeltacastConfiguration configuration("rgb24", "1 2 ", "0 -1 ", 1080, "psf", 5994);
    backend->setDeltacastConfiguration(configuration);
    EXPECT_EQ(backend->deltacastConfiguration(), configuration);
}

TEST_P(BackendsTest, LetExactlyOneOfManyClientsHaveAnEndpoint) {
    std::atomic<int> winners = 0;
    {
        std::vector<std::jthread> clients;
        for (int i = 0; i < 4; ++i) {
            clients.emplace_back([&, client = newBackend(), id = std::to_string(i)] {
                if (refusalOf([&] {
                        client->registerJob(jobOfThisProcess(id, {"tcp://h:1"}));
                    }).empty()) {
                    ++winners;
                }
            });
        }
    }
    EXPECT_EQ(winners, 1);
    EXPECT_THAT(backend->usedResources("Endpoint"), ElementsAre("tcp://h:1"));
}

TEST_P(BackendsTest, ServeManyThreads) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, id = std::to_string(i)] {
            for (int round = 0; round < 20; ++round) {
                backend->registerJob(jobOfThisProcess(id));
                EXPECT_EQ(idOf(backend->runningJobWithUuid(id)), id);
                backend->unregisterJob(id);
            }
        });
    }
    threads.clear();
    EXPECT_THAT(backend->runningJobs(), IsEmpty());
}

TEST_P(BackendsTest, ListAThousandJobs) {
    for (int i = 0; i < 1000; ++i) {
        backend->registerJob(jobOfThisProcess(std::to_string(i)));
    }
    EXPECT_EQ(backend->runningJobs().size(), 1000U);
    EXPECT_EQ(idOf(backend->runningJobWithUuid("999")), "999");
}

INSTANTIATE_TEST_SUITE_P(Both, BackendsTest, testing::Values(Way::Local, Way::Socket),
                         testing::PrintToStringParamName());

}  // namespace tarn::resource_manager
