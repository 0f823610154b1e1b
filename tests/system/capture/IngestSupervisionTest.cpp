#include <signal.h>

#include <chrono>
#include <filesystem>

#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/system/capture/CaptureBed.h"

// The service with ingest services that misbehave.
namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class IngestSupervisionTest : public CaptureBed {
  protected:
    static constexpr auto startFailed =
        "... Failed waiting for device start. Persistent jobs may end up in error";
    static constexpr auto reconfigured = "Service reconfigured!";

    /// A process whose id the ingest service tells. Ends it.
    void expectToBeLeftAloneByANewFormat(Process& stranger) {
        const auto run = setFormat({"720", "p", "50"}, {"0"});
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        EXPECT_TRUE(service().waitForLog("but another process answers"));
        EXPECT_FALSE(service().log().contains("Hard kill"));
        EXPECT_EQ(stranger.waitForEnd(0s), Ending{});
        stranger.signal(SIGTERM);
        stranger.waitForEnd(10s);
    }

    /// An interrupt now must end the service in time.
    void expectPromptStop(std::chrono::seconds bound) {
        const MachineTime time;
        EXPECT_EQ(service().stop(), Ending::exited(0));
        EXPECT_LT(time.elapsed(), bound);
        EXPECT_TRUE(service().log().contains("Service terminated"));
    }
};

TEST_F(IngestSupervisionTest, AnIngestServiceThatNeedsFourSecondsIsWaitedFor) {
    configureMisbehaving("--start-after 4");
    startService();
    EXPECT_TRUE(service().log().contains(reconfigured));
    EXPECT_FALSE(service().log().contains(startFailed));
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
}

TEST_F(IngestSupervisionTest, AnInterruptWhileOneIsWaitedForLogsNoError) {
    configureMisbehaving("--start-after 9");
    launchService();
    ASSERT_TRUE(service().waitForLog("Waiting at most 10 seconds for Service to start..."));
    ASSERT_TRUE(eventually([] { return !misbehavingProcesses().empty(); }));
    const auto before = service().logLength();
    expectPromptStop(5s);
    EXPECT_TRUE(service().log().find("Service terminated", before));
    EXPECT_FALSE(service().log().find("ERROR", before)) << service().log().text();
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatNeedsNineSecondsIsWaitedFor) {
    configureMisbehaving("--start-after 9");
    startService();
    EXPECT_TRUE(service().waitForLog(reconfigured));
    EXPECT_FALSE(service().log().contains("> ... Failed"));
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatNeedsTwelveSecondsIsGivenUpAndTakenWhenItAnswers) {
    configureMisbehaving("--start-after 12");
    startService();
    EXPECT_TRUE(service().log().contains(startFailed));
    EXPECT_TRUE(service().waitForLog("> ... Failed"));
    EXPECT_TRUE(service().waitForLog("Changing status from Unreachable to Running"));
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatIgnoresTheStopCommandIsKilled) {
    configureMisbehaving("--ignore-stop");
    startService();
    const auto stubborn = misbehavingProcesses();
    ASSERT_EQ(stubborn.size(), 1U);
    const auto run = setFormat({"720", "p", "50"}, {"0"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const auto id = std::to_string(stubborn[0]);
    const auto& log = service().log();
    EXPECT_TRUE(log.waitFor("KLN-SDI-Ingest-Service not running any more after hard kill."));
    EXPECT_TRUE(log.contains("Hard kill on KLN-SDI-Ingest-Service with pid " + id));
    EXPECT_GE(log.count("KLN-SDI-Ingest-Service still running on pid " + id), 5U);
    EXPECT_EQ(misbehavingProcesses().size(), 1U);
    EXPECT_NE(misbehavingProcesses(), stubborn);
}

TEST_F(IngestSupervisionTest, AStrangerWhoseIdTheIngestServiceTellsIsLeftAlone) {
    Process stranger({"sleep", "1000"});
    configureMisbehaving("--pid " + std::to_string(stranger.id()));
    startService();
    expectToBeLeftAloneByANewFormat(stranger);
}

// In its own namespaces, and with another path to the same socket, it is in no table of ours, and
// the id that it tells is a stranger's here.
TEST_F(IngestSupervisionTest, AStrangerIsLeftAloneWhoseIdAnIngestServiceOfOtherNamespacesTells) {
    Process stranger({"sleep", "1000"});
    std::filesystem::create_directory("/tmp/elsewhere");
    std::filesystem::create_symlink("/tmp/elsewhere/deltacast", "/tmp/deltacast");
    configureIngest(
        "exec unshare --net --pid --fork --kill-child " + builtProgram("misbehavingIngest") +
        " --endpoint ipc:///tmp/elsewhere/deltacast --pid " + std::to_string(stranger.id()));
    startService();
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
    expectToBeLeftAloneByANewFormat(stranger);
    std::filesystem::remove_all("/tmp/elsewhere");
}

TEST_F(IngestSupervisionTest, WithoutAUsableProcessIdTheIngestServiceIsOnlyToldToStop) {
    for (const auto* pid : {"none", "many"}) {
        configureMisbehaving(std::string("--pid ") + pid);
        auto& run = startService();
        ASSERT_TRUE(eventually([] { return misbehavingProcesses().size() == 1; }));
        const auto before = misbehavingProcesses();
        orderFormat({"720", "p", "50"}, {"0"});
        EXPECT_TRUE(eventually([&] {
            const auto now = misbehavingProcesses();
            return now.size() == 1 && now != before;
        }));
        EXPECT_TRUE(run.waitForLog("Failed reading PID in properties: "));
        EXPECT_FALSE(run.log().contains("still running on pid"));
        EXPECT_EQ(run.stop(), Ending::exited(0));
        for (const auto id : misbehavingProcesses()) {
            ::kill(id, SIGTERM);
        }
        ASSERT_TRUE(eventually([] { return misbehavingProcesses().empty(); }));
    }
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatDiesAtOnceStopsNothingElse) {
    configureMisbehaving("--die-at-once");
    startService();
    EXPECT_TRUE(service().log().contains(startFailed));
    EXPECT_TRUE(service().waitForLog("> ... Failed"));
    EXPECT_EQ(format(), "tarnctl: No device\n");
    EXPECT_TRUE(api().info());
}

TEST_F(IngestSupervisionTest, JobsComeBackAlsoWhenTheIngestServiceWasWaitedForInVain) {
    configureMisbehaving("");
    startService();
    const auto job = startJob({.pipeline = endless, .persistent = true, .persistentName = "kept"});
    EXPECT_EQ(service().stop(), Ending::exited(0));
    ASSERT_TRUE(job->waitForEnd());
    for (const auto id : misbehavingProcesses()) {
        ::kill(id, SIGTERM);
    }
    ASSERT_TRUE(eventually([] { return misbehavingProcesses().empty(); }));

    configureMisbehaving("--die-at-once");
    startService();
    ASSERT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    const auto failed = service().log().find(std::string("ERROR ") + startFailed);
    ASSERT_TRUE(failed);
    EXPECT_TRUE(service().log().find("Regenerating persistent jobs (if any)", *failed));
    ASSERT_TRUE(eventually([&] { return isListed(job->id()); }));
    const JobCommands back(api().job(job->id())->running_job().command_endpoint());
    EXPECT_TRUE(back.destroy(JobCommands::End::ForGood));
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatAnswersWronglyIsNeverRunning) {
    configureMisbehaving("--answers wrong-type");
    startService();
    EXPECT_TRUE(service().log().contains("Failed polling device: unexpected reply type"));
    EXPECT_TRUE(service().waitForLog("> ... Failed"));
    EXPECT_EQ(format(), "tarnctl: No device\n");
}

TEST_F(IngestSupervisionTest, AnIngestServiceThatDoesNotDescribeItselfIsNeverRunning) {
    configureMisbehaving("--no-description");
    startService();
    EXPECT_TRUE(service().log().contains("Failed pinging device: "));
    EXPECT_TRUE(service().log().contains(startFailed));
    EXPECT_EQ(format(), "tarnctl: No device\n");
}

TEST_F(IngestSupervisionTest, AStopEndsTheLookForTheIngestService) {
    configureIngest();
    launchService();
    ASSERT_TRUE(service().waitForLog("Leaving some time for Deltacast handler"));
    expectPromptStop(2s);
    EXPECT_FALSE(service().log().contains("... Done"));
}

TEST_F(IngestSupervisionTest, AStopEndsTheWaitForASlowIngestService) {
    configureMisbehaving("--start-after 1000");
    launchService();
    ASSERT_TRUE(service().waitForLog("Waiting at most 10 seconds for Service to start..."));
    expectPromptStop(4s);
}

TEST_F(IngestSupervisionTest, AStopEndsTheWaitForAnIngestServiceThatDoesNotEnd) {
    configureMisbehaving("--ignore-stop");
    startService();
    orderFormat({"720", "p", "50"}, {"0"});
    ASSERT_TRUE(service().waitForLog("still running on pid"));
    expectPromptStop(4s);
    EXPECT_EQ(misbehavingProcesses().size(), 1U) << "nothing was launched any more";
}

}  // namespace

}  // namespace tarn::test
