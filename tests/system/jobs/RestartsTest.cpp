// Persistent jobs that fail, as an operator sees them.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/LoopbackSender.h"
#include "tests/system/jobs/PersistentFixture.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
namespace monitoring = proto::job_monitoring;

class RestartsTest : public PersistentFixture {
  protected:
    static constexpr auto failing =
        "videotestsrc is-live=true ! identity name=wobbly error-after=1 ! fakesink";

    static bool isWaiting(const Job::Event& event) {
        return event.type() == Job::Event::STATE &&
               event.GetExtension(monitoring::JobEventState::base).state() ==
                   monitoring::JOB_STATE_WAITING_TO_RESTART;
    }

    /// Submits it; its state is its own affair.
    Job submitted(const JobOrder& order) {
        const auto address = api().submit(order);
        if (!address) {
            throw std::runtime_error("the submission was not answered");
        }
        return Job(*address);
    }

    static bool logHolds(const std::string& file, const std::vector<std::string>& inThisOrder) {
        const auto text = readFile(file);
        std::size_t from = 0;
        for (const auto& part : inThisOrder) {
            from = text.find(part, from);
            if (from == std::string::npos) {
                return false;
            }
        }
        return true;
    }
};

TEST_F(RestartsTest, AreTriedWithPatienceAndShownAsWhatTheyAre) {
    const auto job = submitted(persistent("wobbly", failing));
    ASSERT_TRUE(job.waitForEvent(isWaiting));
    ASSERT_TRUE(eventually([&] { return job.status()->restarts() == 3; }, 30s));
    EXPECT_TRUE(
        logHolds(job.status()->log_file(),
                 {"Played again in 500 ms", "Played again in 1000 ms", "Played again in 2000 ms"}));

    ASSERT_TRUE(eventually(
        [&] { return job.status()->state() == monitoring::JOB_STATE_WAITING_TO_RESTART; }));
    const auto shown = tarnctl({"jobs", "show", job.id()});
    EXPECT_EQ(shown.exitStatus, 0) << shown.err;
    EXPECT_NE(shown.out.find("waiting"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("Restarts      3"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("Failed after iterations as requested"), std::string::npos)
        << shown.out;
    EXPECT_TRUE(job.destroy());
    EXPECT_TRUE(eventually([] { return !fs::exists(file("wobbly")); }));
}

TEST_F(RestartsTest, FollowALiveSourceThatHungUpAndNotAnEndThatWasAskedFor) {
    LoopbackSender sender;
    const auto job = submitted(
        persistent("feed", "tcpclientsrc host=127.0.0.1 port=" + std::to_string(sender.port()) +
                               " ! fakesink sync=false"));
    ASSERT_TRUE(sender.serveNext("hello"));
    ASSERT_TRUE(job.waitUntilPlaying());
    sender.hangUp();
    ASSERT_TRUE(eventually([&] {
        const auto status = job.status();
        return status && status->restarts() == 1;
    }));
    EXPECT_TRUE(fs::exists(file("feed")));
    EXPECT_NE(job.status()->last_failure().find("the live stream has ended"), std::string::npos);

    ASSERT_TRUE(sender.serveNext("hello again"));
    EXPECT_TRUE(eventually([&] { return job.status()->state() == monitoring::JOB_STATE_PLAYING; }));
    EXPECT_TRUE(job.stop());
    const auto end = job.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), Job::End::DESTROYED);
    EXPECT_TRUE(fs::exists(file("feed")));
}

TEST_F(RestartsTest, EndWithAStopForGoodWhichRemovesTheFileAndAPlainOneKeepsIt) {
    const auto kept = startJob(persistent("kept"));
    const auto ended = startJob(persistent("ended"));
    EXPECT_EQ(tarnctl({"jobs", "stop", kept->id()}).exitStatus, 0);
    EXPECT_EQ(tarnctl({"jobs", "stop", "--for-good", ended->id()}).exitStatus, 0);
    EXPECT_TRUE(fs::exists(file("kept")));
    EXPECT_FALSE(fs::exists(file("ended")));
}

TEST_F(RestartsTest, EndWithAStopOfEverythingForGood) {
    for (int n = 0; n < 3; ++n) {
        startJob(persistent("job" + std::to_string(n)));
    }
    const auto result = tarnctl({"jobs", "stop", "--all", "--for-good"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    expectLaunchers(0);
    for (int n = 0; n < 3; ++n) {
        EXPECT_FALSE(fs::exists(file("job" + std::to_string(n))));
    }
}

TEST_F(RestartsTest, AreInTheLogThatTheClientShows) {
    const auto job = submitted(persistent("wobbly", failing));
    ASSERT_TRUE(job.waitForEvent(isWaiting));
    const auto shown = tarnctl({"jobs", "log", job.id()});
    EXPECT_EQ(shown.exitStatus, 0) << shown.err;
    EXPECT_NE(shown.out.find("Played again in 500 ms"), std::string::npos) << shown.out;

    Process follower(tarnctlCommand({"jobs", "log", job.id(), "--follow"}));
    EXPECT_TRUE(follower.waitForOut("Played again in 1000 ms"));
    EXPECT_TRUE(job.destroy());
    const auto followed = follower.wait();
    EXPECT_EQ(followed.exitStatus, 0) << followed.out;
    EXPECT_NE(followed.out.find("Asked to end for good"), std::string::npos) << followed.out;
}

}  // namespace

}  // namespace tarn::test
