// What is lost, damaged or full, and what becomes of the jobs.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/jobs/PersistentFixture.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

class RecoveryTest : public PersistentFixture {
  protected:
    static std::vector<fs::path> registryFiles(const std::string& end) {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator("/run/halden-tarn")) {
            if (entry.path().filename().string().ends_with(end)) {
                files.push_back(entry.path());
            }
        }
        return files;
    }

    static void deleteRegistry() {
        for (const auto& registry : registryFiles(".registry")) {
            fs::remove(registry);
        }
    }

    /// Until the first service that answers lists all of them.
    void expectListedWithin(std::chrono::milliseconds bound,
                            const std::vector<std::unique_ptr<Job>>& jobs) {
        EXPECT_TRUE(eventuallyWithin(bound, [&] {
            return std::all_of(jobs.begin(), jobs.end(),
                               [this](const auto& job) { return isListed(job->id()); });
        }));
    }

    std::vector<std::unique_ptr<Job>> startJobs(int count) {
        std::vector<std::unique_ptr<Job>> jobs;
        for (int n = 0; n < count; ++n) {
            jobs.push_back(startJob({.pipeline = endless}));
        }
        return jobs;
    }
};

TEST_F(RecoveryTest, OfADeletedRegistryJobsRegisterThemselvesAgain) {
    const auto jobs = startJobs(3);
    service().killHard();
    deleteRegistry();
    startService();
    expectListedWithin(2s, jobs);
}

TEST_F(RecoveryTest, OfADamagedRegistryItIsPutAsideAndJobsRegisterThemselvesAgain) {
    const auto jobs = startJobs(3);
    service().killHard();
    ASSERT_EQ(registryFiles(".registry").size(), 1U);
    std::ofstream(registryFiles(".registry").front()) << "no registry at all";
    startService();
    expectListedWithin(2s, jobs);
    EXPECT_TRUE(service().waitForLog("Cannot read the registry /run/halden-tarn/"));
    EXPECT_EQ(registryFiles(".damaged-1").size(), 1U);
}

TEST_F(RecoveryTest, OfADeletedRegistryAPersistentJobIsNotStartedASecondTime) {
    const auto job = startJob(persistent("kept"));
    const auto pipeline = job->status()->pipeline_pid();
    for (int n = 0; n < 3; ++n) {
        service().killHard();
        deleteRegistry();
        startService();
        EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
        expectLaunchers(1);
        EXPECT_EQ(find(job->id())->status()->pipeline_pid(), pipeline);
    }
}

TEST_F(RecoveryTest, AnEndForGoodThatWasAnsweredHoldsThoughTheLauncherIsKilledBeforeItEnds) {
    const auto job = startJob(persistent("kept"));
    const auto pipeline = job->status()->pipeline_pid();
    ASSERT_EQ(::kill(pipeline, SIGSTOP), 0);  // so that it takes its time
    EXPECT_TRUE(job->destroy());
    for (const auto& launcher : processesRunning("-l kept ")) {
        ::kill(launcher.id, SIGKILL);
    }
    expectLaunchers(0);
    EXPECT_EQ(service().stop(), Ending::exited(0));

    startService();
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_FALSE(service().log().contains("Restoring persistent job in file"));
}

TEST_F(RecoveryTest, TwoPersistentJobsOfTheSameSecondAndNameBothComeBack) {
    JobOrder order = persistent("");
    order.name = "same";
    const auto first = startJob(order);
    const auto second = startJob(order);
    const auto third = startJob(order);
    EXPECT_EQ(service().stop(), Ending::exited(0));
    startService();
    for (const auto* job : {&first, &second, &third}) {
        EXPECT_TRUE(find((*job)->id())->status()->persistent());
    }
    expectLaunchers(3);
}

TEST_F(RecoveryTest, APersistentJobThatLacksSomethingWhenItComesBackIsPlayedAgainUntilItIsThere) {
    const std::string folder = "/tmp/media";
    fs::create_directory(folder);
    const auto job = startJob(
        persistent("kept", "videotestsrc is-live=true ! filesink location=" + folder + "/file"));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    fs::remove_all(folder);

    startService();
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated (if any)"));
    EXPECT_TRUE(service().log().contains("Job setup properly sent"));
    ASSERT_TRUE(eventually([&] { return isListed(job->id()); }));
    const auto running = api().job(job->id())->running_job();
    const Job waiting({job->id(), running.command_endpoint(), running.event_endpoint()});
    EXPECT_NE(waiting.status()->state(), proto::job_monitoring::JOB_STATE_PLAYING);
    EXPECT_THAT(waiting.status()->last_failure(), testing::HasSubstr(folder));
    EXPECT_TRUE(waiting.status()->persistent());
    fs::create_directory(folder);
    EXPECT_TRUE(find(job->id()));
}

TEST_F(RecoveryTest, ANewPersistentJobThatCannotBePreparedIsRefusedAndNotKept) {
    ASSERT_TRUE(api().submit(persistent("kept", "videotestsrc ! filesink location=/nowhere/file")));
    EXPECT_TRUE(waitForRefusal());
    EXPECT_FALSE(fs::exists(file("kept")));
}

/// The folder of the persistent jobs is a small file system of its own.
class FullDiskTest : public RecoveryTest {
  protected:
    void SetUp() override {
        fs::create_directories(jobsFolder);
        ASSERT_EQ(::mount("small", jobsFolder, "tmpfs", 0, "size=64k"), 0);
        RecoveryTest::SetUp();
    }
    void TearDown() override {
        RecoveryTest::TearDown();
        EXPECT_EQ(::umount(jobsFolder), 0);
    }

    static void fill() {
        fs::create_directory(file("ballast"));
        std::ofstream ballast(file("ballast/ballast"), std::ios::binary);
        const std::string block(4096, '.');
        while (ballast.write(block.data(), 4096).flush()) {
        }
    }
};

TEST_F(FullDiskTest, ANewJobRunsAndSaysThatItIsNotPersistent) {
    fill();
    const auto job = startJob(persistent("new"));
    EXPECT_FALSE(job->status()->persistent());
    EXPECT_FALSE(fs::exists(file("new")));
    EXPECT_TRUE(fs::is_empty(file(".incomplete")));
    EXPECT_TRUE(job->destroy());
}

TEST_F(FullDiskTest, AJobThatComesBackStaysPersistent) {
    const auto job = startJob(persistent("kept"));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    fill();
    startService();
    const auto again = find(job->id());
    EXPECT_TRUE(again->status()->persistent());
    EXPECT_TRUE(fs::exists(file("kept")));
    EXPECT_TRUE(again->destroy());
    EXPECT_TRUE(eventually([] { return !fs::exists(file("kept")); }));
}

}  // namespace

}  // namespace tarn::test
