#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "proto/service_job.pb.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/jobs/PersistentFixture.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

class PersistentJobsTest : public PersistentFixture {
  protected:
    /// What a power cut does: every process dies at once, and the registry is in a folder that is
    /// empty afterwards.
    void cutThePower() {
        service().killHard();
        EXPECT_TRUE(eventually([] {
            for (const auto& process : otherProcesses()) {
                ::kill(process.id, SIGKILL);
            }
            return otherProcesses().empty();
        }));
        fs::remove_all("/run/halden-tarn");
        for (const auto& entry : fs::directory_iterator("/tmp")) {
            if (entry.is_socket()) {
                fs::remove(entry.path());
            }
        }
    }
};

TEST_F(PersistentJobsTest, ComeBackAfterAStopWhichEndsThemAndKeepsTheirFiles) {
    const auto kept = startJob(persistent("kept"));
    const auto passing = startJob({.pipeline = endless});
    ASSERT_TRUE(fs::exists(file("kept")));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    expectNothingIsLeft();
    EXPECT_TRUE(fs::exists(file("kept")));

    startService();
    const auto again = find(kept->id());
    EXPECT_FALSE(isListed(passing->id()));
    expectLaunchers(1);
    EXPECT_TRUE(service().waitForLog("Restoring persistent job in file: /tmp/jobs/kept"));
    EXPECT_TRUE(again->status()->persistent());
    EXPECT_TRUE(eventually([] { return processesRunning("-l kept ").size() == 1; }));
}

TEST_F(PersistentJobsTest, ThatStillRunAreLeftAlone) {
    const auto job = startJob(persistent("kept"));
    const auto pipeline = job->status()->pipeline_pid();
    service().killHard();
    startService();
    EXPECT_TRUE(service().waitForLog("Will not (re)create job with UUID " + job->id() +
                                     ": already running"));
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_EQ(find(job->id())->status()->pipeline_pid(), pipeline);
    expectLaunchers(1);
}

TEST_F(PersistentJobsTest, ComeBackAfterAPowerCutAndOthersDoNot) {
    const auto kept = startJob(persistent("kept"));
    const auto passing = startJob({.pipeline = endless});
    cutThePower();

    startService();
    const auto again = find(kept->id());
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_FALSE(isListed(passing->id()));
    expectLaunchers(1);
}

TEST_F(PersistentJobsTest, ThatWereEndedForGoodDoNotComeBack) {
    const auto job = startJob(persistent("kept"));
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(eventually([] { return !fs::exists(file("kept")); }));
    expectLaunchers(0);
    EXPECT_EQ(service().stop(), Ending::exited(0));

    startService();
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_FALSE(service().log().contains("Restoring persistent job in file"));
}

TEST_F(PersistentJobsTest, ThatReachTheEndOfTheirStreamDoNotComeBack) {
    const auto job = startJob(persistent("short",
                                         "videotestsrc is-live=true num-buffers=75 "
                                         "! video/x-raw,framerate=25/1 ! fakesink"));
    ASSERT_TRUE(job->waitForEnd());
    EXPECT_TRUE(eventually([] { return !fs::exists(file("short")); }));
}

TEST_F(PersistentJobsTest, HaveTheFileThatTheyComeFromAndNotTheOneThatItNames) {
    EXPECT_EQ(service().stop(), Ending::exited(0));
    const std::string victim = "/etc/victim";
    std::ofstream(victim) << "precious";
    proto::service_job::ServiceToJobRequest planted;
    planted.set_type(proto::service_job::ServiceToJobRequest::SETUP);
    auto& setup = *planted.MutableExtension(proto::service_job::ServiceToJobRequestSetup::base);
    setup.mutable_job_description()->set_job_id("planted");
    setup.set_job_configuration("videotestsrc num-buffers=2 ! fakesink");
    setup.set_persistent_file_path(victim);
    std::ofstream(file("planted")) << planted.SerializeAsString();

    startService();
    EXPECT_TRUE(eventually([] { return !fs::exists(file("planted")); }));
    EXPECT_EQ(readFile(victim), "precious");
    EXPECT_FALSE(fs::exists("/etc/.incomplete"));
    expectLaunchers(0);
}

TEST_F(PersistentJobsTest, MayBeCalledWhatNoFileCanBe) {
    JobOrder order{.pipeline = endless, .name = "studio 2/cam1", .persistent = true};
    const auto job = startJob(order);
    EXPECT_TRUE(job->status()->persistent());
    EXPECT_EQ(service().stop(), Ending::exited(0));
    startService();
    const auto again = find(job->id());
    EXPECT_TRUE(service().log().contains("_studio 2_cam1"));
    EXPECT_TRUE(again->destroy());
}

TEST_F(PersistentJobsTest, ComeBackAmongFilesThatAreNone) {
    const auto job = startJob(persistent("kept"));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    constexpr int badFiles = 200;
    for (int n = 0; n < badFiles; ++n) {
        std::ofstream(file("bad" + std::to_string(n))) << "\xff not a job " << n;
    }
    fs::create_directory(file("folder"));
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);

    startService();
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_EQ(service().log().count("Failed deserializing message"), std::size_t{badFiles});
    find(job->id());
    expectLaunchers(1);
}

TEST_F(PersistentJobsTest, AnInterruptWhileTheyComeBackLeavesOutTheRestAndStopsTheOthers) {
    for (int n = 0; n < 5; ++n) {
        startJob(persistent("kept" + std::to_string(n)));
    }
    EXPECT_EQ(service().stop(), Ending::exited(0));

    auto& next = launchService();
    EXPECT_TRUE(next.waitForLog("Restoring persistent job in file: "));
    EXPECT_EQ(next.stop(), Ending::exited(0));
    expectNothingIsLeft();
    for (int n = 0; n < 5; ++n) {
        EXPECT_TRUE(fs::exists(file("kept" + std::to_string(n))));
    }
}

}  // namespace

}  // namespace tarn::test
