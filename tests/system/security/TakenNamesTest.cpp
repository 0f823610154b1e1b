#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/support/OtherUser.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/security/OtherUsersTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

class TakenNamesTest : public OtherUsersTest {
  protected:
    static std::string endpointsSection(const std::string& requests, const std::string& events,
                                        const std::string& resources) {
        return "<Endpoints><RequestsEndpoint>ipc:///tmp/" + requests +
               "</RequestsEndpoint><EventsEndpoint>ipc:///tmp/" + events +
               "</EventsEndpoint><ResourcesEndpoint>ipc:///tmp/" + resources +
               "</ResourcesEndpoint></Endpoints>";
    }

    static bool jobsLogsContain(const std::string& text) {
        std::error_code none;  // there may be no folder yet
        const std::filesystem::directory_iterator logs("/var/log/halden-tarn/jobs", none);
        return std::any_of(begin(logs), end(logs), [&](const auto& file) {
            return readFile(file.path()).find(text) != std::string::npos;
        });
    }

    // Under other names the same service is what it always was.
    void expectServiceUnderOtherNames() {
        configureSections(endpointsSection("requests-2", "events-2", "resource-2"));
        startService();
        Api client("ipc:///tmp/requests-2");
        const auto address = client.submit({.pipeline = endless});
        ASSERT_TRUE(address);
        EXPECT_TRUE(Job(*address).waitUntilPlaying());
        EXPECT_EQ(service().stop(), Ending::exited(0));
    }
};

TEST_F(TakenNamesTest, TheRequestsEndpointIsAnErrorWithItsOwnersName) {
    for (const auto obstacle : obstacles) {
        obstruct("/tmp/requests", obstacle);
        auto& started = launchService();
        EXPECT_TRUE(
            started.waitForLog("in the way; it belongs to user 61001: end what made it, "
                               "and remove it as that user or as root"))
            << static_cast<int>(obstacle);
        EXPECT_EQ(started.waitForEnd(), Ending::exited(0));
    }
    expectServiceUnderOtherNames();
    clear("/tmp/requests");
}

TEST_F(TakenNamesTest, NothingIsToldToWhoHasTheRequestsEndpoint) {
    auto& thief = startThief({"router", "/tmp/requests"});
    const auto asked = tarnctl({"info"});
    EXPECT_NE(asked.exitStatus, 0);
    EXPECT_THAT(asked.err, HasSubstr(namesTheOwner));
    const auto submitted = tarnctl({"jobs", "submit", "--pipeline", "videotestsrc ! fakesink"});
    EXPECT_NE(submitted.exitStatus, 0);
    EXPECT_FALSE(stoleSomething(thief)) << thief.output().text();
}

TEST_F(TakenNamesTest, NothingIsToldToWhoHasTheEventsEndpoint) {
    auto& thief = startThief({"pull", "/tmp/events"});
    startService();
    EXPECT_TRUE(service().waitForLog("Failed creating event emitter socket: "));
    EXPECT_TRUE(service().waitForLog(namesTheOwner));
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(job->destroy());
    EXPECT_FALSE(stoleSomething(thief)) << thief.output().text();
}

TEST_F(TakenNamesTest, NobodyRegistersWithWhoHasTheResourcesEndpoint) {
    auto& thief = startThief({"router", "/tmp/resource"});
    startService();
    EXPECT_TRUE(service().waitForLog(namesTheOwner));
    // A job plays without a registry, as ever.
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(job->destroy());
    EXPECT_FALSE(stoleSomething(thief)) << thief.output().text();
}

TEST_F(TakenNamesTest, NobodyBelievesWhoPublishesInThePlaceOfTheGateway) {
    startThief({"publish", "/tmp/events.pub"});
    const auto events = tarnctl({"events", "--events-endpoint", "ipc:///tmp/events.pub"}, 20s);
    EXPECT_NE(events.exitStatus, 0);
    EXPECT_THAT(events.err, HasSubstr(namesTheOwner));
    EXPECT_EQ(events.out, "");
}

TEST_F(TakenNamesTest, TheGatewayNamesWhoHasItsEnds) {
    for (const auto* const name : {"/tmp/events", "/tmp/events.pub"}) {
        obstruct(name, Obstacle::Listener);
        const auto gateway = runProcess({gatewayProgram});
        EXPECT_EQ(gateway.exitStatus, 1);
        EXPECT_THAT(gateway.err + gateway.out, HasSubstr(namesTheOwner));
        clear(name);
    }
}

TEST_F(TakenNamesTest, AFalseDeviceIsNoDevice) {
    auto& thief = startThief({"router", "/tmp/test-device"});
    configureSections(
        "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>ipc:///tmp/test-device"
        "</MonitoringInterface></TarnProtocolDevice>\n");
    startService();
    EXPECT_TRUE(service().waitForLog(namesTheOwner));
    EXPECT_FALSE(stoleSomething(thief)) << thief.output().text();
    // The right one is found when the wrong one has gone.
    sendThievesAway();
    Process device({hostMonitorProgram, "--endpoint", "ipc:///tmp/test-device"});
    EXPECT_TRUE(eventually([&] {
        return tarnctl({"devices"}).out.find("Host") != std::string::npos;
    })) << tarnctl({"devices"}).out;
    device.signal(SIGTERM);
    device.waitForEnd();
}

TEST_F(TakenNamesTest, JobsAreSetUpByTheServiceAlone) {
    auto& thief = startThief({"launches"});
    startService();
    constexpr int jobs = 6;
    int playing = 0;
    for (int i = 0; i < jobs; ++i) {
        const auto address = api().submit({.pipeline = endless});
        ASSERT_TRUE(address);
        const Job job(*address);
        playing += job.waitUntilPlaying() && job.destroy() ? 1 : 0;
    }
    EXPECT_TRUE(thief.waitForOut("missed /tmp/"))
        << "he never saw a launch: " << thief.output().text();
    EXPECT_FALSE(stoleSomething(thief)) << thief.output().text();
    // He may be quick enough to be in the way of a launcher that takes its place; no quicker than
    // it.
    EXPECT_GE(playing, jobs / 2) << thief.output().text();
}

TEST_F(TakenNamesTest, APictureOfAFalseCaptureIsNotTaken) {
    startService();
    const ImpostorSocket impostor("/tmp/false-channel");
    const auto address =
        api().submit({.pipeline = "shmsrc socket-path=/tmp/false-channel ! fakesink"});
    ASSERT_TRUE(address);
    EXPECT_TRUE(eventually([] {
        return jobsLogsContain("not connected to /tmp/false-channel: it belongs to user 61001");
    }));
    EXPECT_TRUE(eventually([&] { return !isListed(address->id); }));
    EXPECT_EQ(impostor.loot(), "");
}

// As it was done when claims were names that anybody can take.
TEST_F(TakenNamesTest, NobodyElseCanClaimAJobsId) {
    startService();
    const auto id = utils::UuidGenerator::Generate();
    ASSERT_TRUE(doneAs({}, [] {
        return ::access("/run/halden-tarn/claims", R_OK) != 0 &&
               ::access("/run/halden-tarn/claims", X_OK) != 0;
    }));
    const auto job = startJob({.pipeline = endless, .id = id});
    EXPECT_TRUE(isListed(id));
    std::ifstream sockets("/proc/net/unix");
    const std::string all((std::istreambuf_iterator<char>(sockets)), {});
    EXPECT_EQ(all.find("@tarn."), std::string::npos) << all;
    EXPECT_TRUE(job->destroy());
}

}  // namespace

}  // namespace tarn::test
