#include <signal.h>

#include <filesystem>

#include "tests/system/SystemTest.h"

namespace tarn::test {

namespace {

class StartUp : public SystemTest {};

TEST_F(StartUp, withoutAConfigurationFileTheServiceRunsOnItsDefaults) {
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

TEST_F(StartUp, helpPrintsTheOptionsAndExitsWithOne) {
    Program help({Service::program, "--help"});
    EXPECT_EQ(help.waitForEnd(std::chrono::seconds(10)), Ending::exited(1));
    EXPECT_TRUE(help.output().contains("Allowed options"));
    EXPECT_TRUE(help.output().contains("--help"));
    EXPECT_TRUE(help.output().contains("Produce help message"));
    EXPECT_FALSE(help.output().contains("SERVICE CONFIGURATION"));
    EXPECT_FALSE(std::filesystem::exists("/usr/share/TarnJobs"));
}

TEST_F(StartUp, anUnknownOptionEndsTheProcessAbnormally) {
    Program wrong({Service::program, "--no-such-option"});
    EXPECT_EQ(wrong.waitForEnd(std::chrono::seconds(20)), Ending::signalled(SIGABRT));
    EXPECT_TRUE(wrong.output().contains("no-such-option"));
}

TEST_F(StartUp, withoutALoggerConfigurationTheServiceLogsToTheConsoleAndServes) {
    std::filesystem::remove(
        "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config");
    launchService();
    EXPECT_TRUE(service().waitForLog("logging to the console"));
    EXPECT_TRUE(api().info());
}

TEST_F(StartUp, aRequestsEndpointThatCannotBeOpenedEndsTheServiceWithStatusZero) {
    std::filesystem::create_directory("/tmp/taken");
    configureSections(
        "<Endpoints><RequestsEndpoint>ipc:///tmp/taken</RequestsEndpoint></Endpoints>");
    launchService();
    EXPECT_EQ(service().waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(service().log().contains("Failed creating request reception socket: "));
}

TEST_F(StartUp, badEndpointTextsEndTheServiceWithStatusOne) {
    configureSections("<Endpoints><RequestsEndpoint>nonsense</RequestsEndpoint></Endpoints>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(service().log().contains("Could not setup request endpoint: "));

    configureSections("<Endpoints><EventsEndpoint>tcp://*:99999</EventsEndpoint></Endpoints>");
    EXPECT_EQ(launchService().waitForEnd(), Ending::exited(1));
    EXPECT_TRUE(service().log().contains("Could not setup event endpoint: "));
}

TEST_F(StartUp, theFolderOfPersistentJobsIsCreated) {
    startService();
    EXPECT_TRUE(std::filesystem::is_directory("/usr/share/TarnJobs"));
}

TEST_F(StartUp, aSecondServiceDoesNotTakeTheEndpointAway) {
    auto& first = startService();
    Service second;
    EXPECT_EQ(second.waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(second.log().contains("Failed creating request reception socket: "));
    EXPECT_TRUE(api().info());
    EXPECT_TRUE(first.isRunning());
}

}  // namespace

}  // namespace tarn::test
