#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <filesystem>

#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class StartUpTest : public SystemTest {};

TEST_F(StartUpTest, WithoutAConfigurationFileTheServiceRunsOnItsDefaults) {
    startService();
    EXPECT_TRUE(service().log().contains("WARN  Warning: "));
    EXPECT_TRUE(service().log().contains("Failed opening /etc/TarnConfiguration.xml"));
    EXPECT_TRUE(service().log().contains("WARN  Using default configuration"));
    EXPECT_TRUE(service().log().contains("*** SERVICE CONFIGURATION ***"));
    const auto info = api().info();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->service_name(), "TarnService");
    EXPECT_EQ(info->events_endpoint(), "ipc:///tmp/events");
}

// Its error stream goes nowhere: what comes, comes on the standard output.
TEST_F(StartUpTest, HelpPrintsTheOptionsAndExitsWithOne) {
    Process help({"sh", "-c", std::string("exec ") + Service::program + " --help 2>/dev/null"});
    EXPECT_EQ(help.waitForEnd(std::chrono::seconds(10)), Ending::exited(1));
    EXPECT_THAT(
        help.output().all(),
        ElementsAre("Allowed options:", MatchesRegex("  --help +Produce help message"), ""));
    EXPECT_FALSE(std::filesystem::exists("/usr/share/TarnJobs"));
}

TEST_F(StartUpTest, HelpLogsNothing) {
    Process help({"sh", "-c", std::string("exec ") + Service::program + " --help >/dev/null"});
    EXPECT_EQ(help.waitForEnd(std::chrono::seconds(10)), Ending::exited(1));
    EXPECT_THAT(help.output().all(), IsEmpty());
}

TEST_F(StartUpTest, AnUnknownOptionEndsTheProcessAbnormally) {
    Process wrong({Service::program, "--no-such-option"});
    EXPECT_EQ(wrong.waitForEnd(std::chrono::seconds(20)), Ending::signalled(SIGABRT));
    EXPECT_TRUE(wrong.output().contains("no-such-option"));
}

TEST_F(StartUpTest, WithoutALoggerConfigurationTheServiceLogsToTheConsoleAndServes) {
    std::filesystem::remove(
        "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config");
    launchService();
    EXPECT_TRUE(service().waitForLog("logging to the console"));
    EXPECT_TRUE(api().info());
}

TEST_F(StartUpTest, ARequestsEndpointThatCannotBeOpenedEndsTheServiceWithStatusZero) {
    std::filesystem::create_directory("/tmp/taken");
    configureSections(
        "<Endpoints><RequestsEndpoint>ipc:///tmp/taken</RequestsEndpoint></Endpoints>");
    launchService();
    EXPECT_EQ(service().waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(service().log().contains("Failed creating request reception socket: "));
}

TEST_F(StartUpTest, BadEndpointTextsEndTheServiceWithStatusOne) {
    configureSections("<Endpoints><RequestsEndpoint>nonsense</RequestsEndpoint></Endpoints>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(service().log().contains("Could not setup request endpoint: "));

    configureSections("<Endpoints><EventsEndpoint>tcp://*:99999</EventsEndpoint></Endpoints>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(service().log().contains("Could not setup event endpoint: "));
}

TEST_F(StartUpTest, AResourcesEndpointThatIsNoneEndsTheServiceWithStatusZero) {
    configureSections("<Endpoints><ResourcesEndpoint>nonsense</ResourcesEndpoint></Endpoints>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(service().log().contains("ERROR Terminated with exception %"));
    EXPECT_TRUE(service().log().find("nonsense",
                                     service().log().find("Terminated with exception %").value()));
    EXPECT_FALSE(service().log().contains("Receiving on "));
}

// The pause for one takes three seconds. A busy machine may make a start or two as slow.
TEST_F(StartUpTest, WithoutAnIngestServiceNoneIsWaitedFor) {
    bool isQuick = false;
    for (int attempt = 0; attempt < 5 && !isQuick; ++attempt) {
        const auto begin = std::chrono::steady_clock::now();
        startService();
        isQuick = std::chrono::steady_clock::now() - begin < std::chrono::seconds(3);
        EXPECT_FALSE(service().log().contains("Deltacast handler to look for"));
        EXPECT_EQ(service().stop(), Ending::exited(0));
    }
    EXPECT_TRUE(isQuick) << "in none of the attempts";
}

// Programs that are the service but for one thing that goes wrong.
TEST_F(StartUpTest, WithoutMonitoringTheServiceSaysSoAndServes) {
    Process service({TARN_SERVICE_WITHOUT_MONITORING});
    EXPECT_TRUE(service.output().waitFor("Receiving on "));
    const auto& log = service.output();
    const auto heading = log.find("ERROR failed setting up system monitoring:");
    ASSERT_TRUE(heading);
    EXPECT_EQ(log.find("ERROR \tError: ", *heading), *heading + 1);
    EXPECT_TRUE(api().info());
    service.signal(SIGINT);
    EXPECT_EQ(service.waitForEnd(std::chrono::seconds(20)), Ending::exited(0));
}

TEST_F(StartUpTest, AFrameworkLoggerThatIsRefusedEndsTheServiceWithStatusOne) {
    Process service({TARN_SERVICE_WITHOUT_FRAMEWORK_LOGGER});
    EXPECT_EQ(service.waitForEnd(std::chrono::seconds(20)), Ending::exited(1));
    ASSERT_EQ(service.output().all().size(), 1U) << service.output().text();
    EXPECT_TRUE(service.output().all().front().ends_with("ERROR Failed setting KLN logger"));
}

TEST_F(StartUpTest, AFrameworkLoggerThatThrowsEndsTheServiceWithStatusOne) {
    Process service({"env", "KLN_LOGGER_THROWS=too late", TARN_SERVICE_WITHOUT_FRAMEWORK_LOGGER});
    EXPECT_EQ(service.waitForEnd(std::chrono::seconds(20)), Ending::exited(1));
    ASSERT_EQ(service.output().all().size(), 1U) << service.output().text();
    EXPECT_TRUE(
        service.output().all().front().ends_with("ERROR Failed setting KLN logger: too late"));
}

TEST_F(StartUpTest, TheFolderOfPersistentJobsIsCreated) {
    startService();
    EXPECT_TRUE(std::filesystem::is_directory("/usr/share/TarnJobs"));
}

TEST_F(StartUpTest, ASecondServiceDoesNotTakeTheEndpointAway) {
    auto& first = startService();
    Service second;
    EXPECT_EQ(second.waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(second.log().contains("Failed creating request reception socket: "));
    EXPECT_TRUE(api().info());
    EXPECT_TRUE(first.isRunning());
}

}  // namespace

}  // namespace tarn::test
