#include "platform/resource_manager/ResourceManagerProxy.h"

#include <gmock/gmock.h>

#include <thread>

#include "platform/resource_manager/ResourceManagerRequestHandler.h"
#include "tests/platform/resource_manager/Pipe.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

using test::idsOf;
using test::jobOf;
using test::jobOfThisProcess;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ProxiesTest : public testing::Test {
  protected:
    using Operation = bool (*)(ResourceManagerProxy&, std::string&);

    static std::vector<Operation> allOperations();

    void expectThatNothingWorks(const std::string& reason) {
        for (const auto operation : allOperations()) {
            error.clear();
            EXPECT_FALSE(operation(proxy, error));
            EXPECT_THAT(error, HasSubstr(reason));
        }
    }

    tarn::test::TemporaryFolder folder;
    // In the folder, since a killed process leaves its socket file.
    const tarn::socket::SocketEndpoint endpoint{tarn::socket::Transport::Ipc,
                                                (folder.path() / "resource").string(), 0};
    ResourceManagerProxy proxy;
    std::string error;
};

std::vector<ProxiesTest::Operation> ProxiesTest::allOperations() {
    return {
        [](ResourceManagerProxy& p, std::string& e) {
            std::list<RunningJob> jobs{jobOfThisProcess("left over")};
            const bool done = p.getRunningJobs(jobs, e);
            EXPECT_THAT(jobs, IsEmpty());
            return done;
        },
        [](ResourceManagerProxy& p, std::string& e) {
            auto job = jobOfThisProcess("left over");
            const bool done = p.getRunningJobWithUuid("x", job, e);
            EXPECT_EQ(test::idOf(job), "");
            return done;
        },
        [](ResourceManagerProxy& p, std::string& e) {
            std::list<RunningJob> jobs{jobOfThisProcess("left over")};
            const bool done =
                p.getRunningJobsWithPropertyAndValue("x", "y", jobs, e, true, false, false, false);
            EXPECT_THAT(jobs, IsEmpty());
            return done;
        },
        [](ResourceManagerProxy& p, std::string& e) {
            std::list<std::string> resources{"left over"};
            const bool done = p.getUsedResources("Endpoint", resources, e);
            EXPECT_THAT(resources, IsEmpty());
            return done;
        },
        [](ResourceManagerProxy& p, std::string& e) { return p.clearDeadProcesses(e); },
        [](ResourceManagerProxy& p, std::string& e) {
            return p.registerJob(jobOfThisProcess("a"), e);
        },
        [](ResourceManagerProxy& p, std::string& e) { return p.unregisterJob("a", e); },
        [](ResourceManagerProxy& p, std::string& e) { return p.setDeltacastConfiguration({}, e); },
        [](ResourceManagerProxy& p, std::string& e) {
            DeltacastConfiguration configuration("left over", "", "", 0, "", 0);
            const bool done = p.getDeltacastConfiguration(configuration, e);
            EXPECT_EQ(configuration, DeltacastConfiguration());
            return done;
        },
    };
}

TEST_F(ProxiesTest, FailBeforeTheyAreConnected) {
    expectThatNothingWorks("Not connected to a resource manager");
    EXPECT_FALSE(proxy.disconnect(error));
    EXPECT_EQ(error, "Not connected to a resource manager");
}

TEST_F(ProxiesTest, FailToConnectWithinTheirTimeWhereNobodyListens) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(proxy.connect(endpoint, error));
    EXPECT_THAT(error, HasSubstr(endpoint.toString(tarn::socket::Protocol::None)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
    expectThatNothingWorks("Not connected");
}

class ProxiesOfTheServiceTest : public ProxiesTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(handler.start(endpoint));
        ASSERT_TRUE(proxy.connect(endpoint, error)) << error;
    }

    ResourceManagerRequestHandler handler{folder.path().string()};
};

TEST_F(ProxiesOfTheServiceTest, DoEverythingAndClearTheError) {
    for (const auto operation : allOperations()) {
        error = "left over";
        EXPECT_TRUE(operation(proxy, error));
        EXPECT_EQ(error, "");
    }
}

TEST_F(ProxiesOfTheServiceTest, GiveTheReasonOfARefusal) {
    EXPECT_FALSE(proxy.registerJob(jobOfThisProcess(""), error));
    EXPECT_EQ(error, "A job without an identifier cannot register");
}

TEST_F(ProxiesOfTheServiceTest, TakeTheFourFlagsOfAMatchInTheirOrder) {
    const auto self = os::ProcessIdentity::ofThisProcess();
    ASSERT_TRUE(proxy.registerJob(jobOf(self, "a", {{"Studio", {"North"}}}), error));
    ASSERT_TRUE(proxy.registerJob(jobOf(self, "b", {{"Studio", {"South"}}}), error));
    const auto matching = [&](const std::string& value, bool exact, bool ignoreCase, bool prefix,
                              bool negate) {
        std::list<RunningJob> jobs;
        EXPECT_TRUE(proxy.getRunningJobsWithPropertyAndValue("Studio", value, jobs, error, exact,
                                                             ignoreCase, prefix, negate));
        return idsOf(jobs);
    };
    EXPECT_THAT(matching("North", true, false, false, false), ElementsAre("a"));
    EXPECT_THAT(matching("Nor", true, false, false, false), IsEmpty());
    EXPECT_THAT(matching("Nor", true, false, true, false), IsEmpty());
    EXPECT_THAT(matching("north", true, true, false, false), ElementsAre("a"));
    EXPECT_THAT(matching("Nor", false, false, true, false), ElementsAre("a"));
    EXPECT_THAT(matching("orth", false, false, true, false), IsEmpty());
    EXPECT_THAT(matching("orth", false, false, false, false), ElementsAre("a"));
    EXPECT_THAT(matching("North", true, false, false, true), ElementsAre("b"));
}

TEST_F(ProxiesOfTheServiceTest, FailAfterTheHandlersEndAndWorkAfterItsNewStart) {
    ASSERT_TRUE(proxy.registerJob(jobOfThisProcess("a"), error));
    handler.terminate();
    expectThatNothingWorks("The resource manager on " +
                           endpoint.toString(tarn::socket::Protocol::None) + " has terminated");
    ASSERT_TRUE(handler.start(endpoint));
    std::list<RunningJob> jobs;
    EXPECT_TRUE(proxy.getRunningJobs(jobs, error)) << error;
    EXPECT_THAT(idsOf(jobs), ElementsAre("a"));
}

TEST_F(ProxiesOfTheServiceTest, FailAfterTheyWereDisconnected) {
    EXPECT_TRUE(proxy.disconnect(error));
    EXPECT_FALSE(proxy.disconnect(error));
    expectThatNothingWorks("Not connected");
    EXPECT_TRUE(proxy.connect(endpoint, error));
    EXPECT_TRUE(proxy.clearDeadProcesses(error));
}

TEST_F(ProxiesOfTheServiceTest, MayBeDisconnectedWhileOthersAsk) {
    std::jthread asking([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::list<RunningJob> jobs;
            std::string reason;
            const bool done = proxy.getRunningJobs(jobs, reason);
            EXPECT_EQ(done ? "" : "Not connected to a resource manager", reason);
        }
    });
    for (int i = 0; i < 100; ++i) {
        proxy.disconnect(error);
        EXPECT_TRUE(proxy.connect(endpoint, error));
    }
}

TEST_F(ProxiesOfTheServiceTest, AreOneForTheProcess) {
    EXPECT_EQ(&GetResourceManagerProxy(), &GetResourceManagerProxy());
    EXPECT_EQ(&GetResourceManagerRequestHandler(), &GetResourceManagerRequestHandler());
}

// The resource manager of another process, and the one that follows it after it was killed.
class ProxiesOfJobsTest : public ProxiesTest {
  protected:
    void serve() const {
        static ResourceManagerRequestHandler handler(folder.path().string());
        handler.start(endpoint);
    }

    const test::Pipe startOfSecond;
    // Forked before this process has threads of its own.
    tarn::test::ForkedProcess first{[this] { serve(); }};
    tarn::test::ForkedProcess second{[this] {
        if (startOfSecond.wait()) {
            serve();
        }
    }};
};

TEST_F(ProxiesOfJobsTest, DoEverythingOverTheSocket) {
    ASSERT_TRUE(proxy.connect(endpoint, error)) << error;
    for (const auto operation : allOperations()) {
        error = "left over";
        EXPECT_TRUE(operation(proxy, error));
        EXPECT_EQ(error, "");
    }
}

TEST_F(ProxiesOfJobsTest, WorkAgainWhenAKilledServiceIsBack) {
    ASSERT_TRUE(proxy.connect(endpoint, error)) << error;
    ASSERT_TRUE(proxy.registerJob(jobOfThisProcess("a", {"tcp://h:1"}), error)) << error;
    first.killAndReap();
    EXPECT_FALSE(proxy.clearDeadProcesses(error));
    EXPECT_THAT(error, HasSubstr(endpoint.toString(tarn::socket::Protocol::None)));
    ASSERT_TRUE(startOfSecond.signal());
    EXPECT_TRUE(proxy.clearDeadProcesses(error)) << error;
    std::list<RunningJob> jobs;
    EXPECT_TRUE(proxy.getRunningJobs(jobs, error)) << error;
    EXPECT_THAT(idsOf(jobs), ElementsAre("a"));
    EXPECT_TRUE(proxy.unregisterJob("a", error)) << error;
}

}  // namespace tarn::resource_manager
