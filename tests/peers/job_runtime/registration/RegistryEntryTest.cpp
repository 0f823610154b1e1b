#include "peers/job_runtime/registration/RegistryEntry.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "peers/job_runtime/registration/JobClaim.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "proto/job_monitoring.pb.h"
#include "tests/peers/support/TestService.h"
#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Process.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using Standing = Registration::Standing;
using tarn::os::ProcessIdentity;
using tarn::resource_manager::JobDescription;
using tarn::resource_manager::ResourceManagerProxy;
using tarn::resource_manager::RunningJob;
using tarn::test::eventually;

struct RegistryEntryTest : testing::Test {
    RegistryEntryTest() { makeEntry(); }

    static RunningJob job(const os::ProcessIdentity& process) {
        tarn::proto::job_monitoring::JobDescription description;
        description.set_job_id("the-id");
        return {JobDescription(description), "ipc:///tmp/c", "ipc:///tmp/e", process, {}};
    }

    bool becomes(Standing standing) {
        return eventually([&] { return entry->take() == standing; });
    }

    bool isReadable() const {
        pollfd changed{.fd = entry->descriptor(), .events = POLLIN, .revents = 0};
        return ::poll(&changed, 1, 0) == 1;
    }

    /// Another process has the id in the registry.
    void registerFor(const test::Process& process) {
        ResourceManagerProxy proxy;
        std::string error;
        const auto resources =
            tarn::socket::SocketEndpoint::FromString(service.resourcesEndpoint());
        ASSERT_TRUE(proxy.connect(resources, error)) << error;
        ASSERT_TRUE(proxy.registerJob(job(os::ProcessIdentity::of(process.id())), error)) << error;
    }

    void hold(std::optional<JobClaim>& claim) {
        claim.emplace(service.resourcesEndpoint(), "the-id", 0ms, std::stop_token());
    }

    void makeEntry() {
        entry.emplace(job(os::ProcessIdentity::ofThisProcess()), service.resourcesEndpoint(),
                      [this](bool hadToWait) { return hadToWait ? mayReplace : mayBegin; });
    }

    /// Whether it comes to that where the claim is held when it enters and then let go of. Nothing
    /// tells that it waits for the claim: it is given longer and longer to do so.
    bool standsAfterAWait(
        Standing wanted, const std::function<void()>& before = [] {},
        const std::function<void()>& afterwards = [] {}) {
        Standing standing = Standing::Outside;
        for (int pauses = 1; pauses <= 64 && standing != wanted; pauses *= 2) {
            makeEntry();
            before();
            std::optional<JobClaim> claim;
            hold(claim);
            entry->enter();
            eventually([pauses, n = 0]() mutable { return n++ == pauses; });
            claim.reset();
            afterwards();
            EXPECT_TRUE(eventually([&] {
                standing = entry->take();
                return standing != Standing::Claiming && standing != Standing::Entering;
            }));
        }
        return standing == wanted;
    }

    test::TestService service;
    const test::LogCapture log;
    bool mayReplace = true;
    bool mayBegin = true;
    std::optional<RegistryEntry> entry;
};

TEST_F(RegistryEntryTest, IsOutsideUntilItEnters) {
    EXPECT_EQ(entry->take(), Standing::Outside);
    EXPECT_FALSE(isReadable());
    EXPECT_TRUE(entry->leave());
}

TEST_F(RegistryEntryTest, TheJobIsListedUntilItLeaves) {
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Listed));
    EXPECT_TRUE(service.lists("the-id"));
    EXPECT_FALSE(isReadable());
    EXPECT_TRUE(entry->leave());
    EXPECT_FALSE(service.lists("the-id"));
    std::optional<JobClaim> claim;
    EXPECT_NO_THROW(hold(claim));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RegistryEntryTest, EachChangeWakesTheOneWhoWaits) {
    entry->enter();
    EXPECT_TRUE(isReadable());
    EXPECT_NE(entry->take(), Standing::Outside);
}

TEST_F(RegistryEntryTest, IsRefusedWhileAnotherProcessIsThatJob) {
    const test::Process other({"sleep", "1000"});
    registerFor(other);
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Refused));
    EXPECT_NE(entry->reason().find("Already running: job the-id"), std::string::npos);
    EXPECT_TRUE(entry->leave());
    EXPECT_EQ(service.job("the-id").getProcess().id, other.id());
}

TEST_F(RegistryEntryTest, AServiceThatIsAwayIsAskedAgainUntilItIsThere) {
    service.stop();
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Away));
    EXPECT_TRUE(log.waitFor("WARN This job is not registered yet: "));
    service.startWithEmptyRegistry();
    EXPECT_TRUE(becomes(Standing::Listed));
    EXPECT_TRUE(log.waitFor("WARN This job is registered now"));
    EXPECT_TRUE(service.lists("the-id"));
}

TEST_F(RegistryEntryTest, RegistersAgainWhereTheRegistryWasLost) {
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Listed));
    service.stop();
    service.startWithEmptyRegistry();
    EXPECT_TRUE(log.waitFor("WARN The registry had lost this job: registered again"));
    EXPECT_TRUE(service.lists("the-id"));
}

TEST_F(RegistryEntryTest, AJobThatComesBackTakesThePlaceOfTheOneThatEndsMeanwhile) {
    std::optional<JobClaim> claim;
    hold(claim);
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Claiming));
    EXPECT_FALSE(service.lists("the-id"));
    claim.reset();
    EXPECT_TRUE(becomes(Standing::Listed));
}

TEST_F(RegistryEntryTest, AJobThatWasEndedForGoodMeanwhileDoesNot) {
    mayReplace = false;
    EXPECT_TRUE(standsAfterAWait(Standing::Refused));
    EXPECT_EQ(entry->reason(), "Already running: job the-id");
    EXPECT_FALSE(service.lists("the-id"));
}

TEST_F(RegistryEntryTest, AJobThatWasEndedForGoodBeforeItCameBackDoesNotEither) {
    mayBegin = false;
    entry->enter();
    EXPECT_TRUE(becomes(Standing::Refused));
    EXPECT_EQ(entry->reason(), "Ended for good meanwhile: job the-id");
    EXPECT_FALSE(service.lists("the-id"));
}

TEST_F(RegistryEntryTest, WhoHadToWaitIsRefusedWhereThereIsNoServiceAnyMore) {
    service.stop();
    EXPECT_TRUE(standsAfterAWait(Standing::Refused));
}

TEST_F(RegistryEntryTest, WhoHadToWaitIsPatientWithTheEntryOfTheOneBefore) {
    std::optional<test::Process> other;
    EXPECT_TRUE(standsAfterAWait(
        Standing::Listed,
        [&] {
            other.emplace(std::vector<std::string>{"sleep", "1000"});
            registerFor(*other);
        },
        [&] {
            EXPECT_TRUE(eventually([&] { return entry->take() != Standing::Claiming; }));
            other->signal(SIGKILL);
        }));
}

}  // namespace
}  // namespace tarn::peers
