#include <filesystem>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;

struct JobReplacementTest : WorkflowFixture {
    static constexpr int rounds = 15;
    std::vector<std::unique_ptr<TestJob>> left;

    /// The same job once more, with endpoints of its own.
    std::unique_ptr<TestJob> makeAgain(const std::string& id, int round,
                                       const std::string& pipeline = endless) {
        auto job = makeJob(pipeline, "round" + std::to_string(round));
        job->id() = id;
        return job;
    }

    /// A persistent job that plays, and the same beside it, which waits.
    std::pair<std::unique_ptr<TestJob>, std::unique_ptr<TestJob>> playTwice() {
        auto first = makeJob(endless);
        auto second = makeAgain(first->id(), 1);
        for (auto* const job : {first.get(), second.get()}) {
            job->setup().set_persistent_file_path(pathOf("persistent"));
            job->play();
        }
        return {std::move(first), std::move(second)};
    }
};

TEST_F(JobReplacementTest, WhoIsNotListedAnyMoreIsReplaceableAtOnce) {
    auto job = makeJob(endless);
    const auto id = job->id();
    job->play();
    for (int round = 0; round < rounds; ++round) {
        ASSERT_TRUE(job->client().destroy().success());
        ASSERT_TRUE(eventually([&] { return !service.lists(id); }));
        auto next = makeAgain(id, round);
        next->launch();
        const auto reply = next->setUp();
        ASSERT_TRUE(reply.success()) << "round " << round << ": " << reply.error_message();
        ASSERT_TRUE(next->events.waitForState(JOB_STATE_PLAYING)) << "round " << round;
        EXPECT_TRUE(service.lists(id));
        EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
        job = std::move(next);
    }
}

// Had the second to wait for the first's claim, it would take itself for one that comes back from a
// file that is gone.
TEST_F(JobReplacementTest, APersistentOneThatEndedForGoodCanBePersistentAgainAtOnce) {
    const auto id = makeJob(endless)->id();
    for (int round = 0; round < rounds; ++round) {
        auto job = makeAgain(id, round);
        job->setup().set_persistent_file_path(pathOf("persistent"));
        job->play();
        ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING)) << "round " << round;
        ASSERT_TRUE(job->client().destroy(JobClient::End::ForGood).success());
        ASSERT_TRUE(eventually([&] { return !service.lists(id); }));
        left.push_back(std::move(job));  // it may still be ending
    }
}

TEST_F(JobReplacementTest, WhoHasSaidThatItEndedIsReplaceableAtOnce) {
    const auto id = makeJob(short_)->id();
    for (int round = 0; round < rounds; ++round) {
        const auto job = makeAgain(id, round, short_);
        job->play();
        ASSERT_TRUE(job->events.waitForEnd()) << "round " << round;
        EXPECT_FALSE(service.lists(id)) << "round " << round;
    }
}

TEST_F(JobReplacementTest, WhoWasRefusedIsReplaceableAtOnce) {
    const auto id = makeJob(short_)->id();
    for (int round = 0; round < rounds; ++round) {
        const auto refused = makeAgain(id, round, "videotestsrc ! nosuchsink");
        refused->launch();
        if (refused->setUp().success()) {  // so slow is the machine
            ASSERT_TRUE(refused->events.waitForEnd()) << "round " << round;
        }
        EXPECT_FALSE(service.lists(id));
    }
    makeAgain(id, rounds)->play();
}

// As after a service that has lost its registry: the job is not listed, and goes on.
TEST_F(JobReplacementTest, WhoIsNotListedAndPlaysIsNotReplacedWhileItPlays) {
    const auto job = makeJob(endless);
    job->play();
    service.stop();
    service.startWithEmptyRegistry();
    const auto second = makeAgain(job->id(), 1);
    second->launch();
    second->setUp();
    const auto end = second->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_NE(end->message().find("Already running: "), std::string::npos) << end->message();
    EXPECT_EQ(second->launcher->waitForEnd(), Ending::exited(1));
    EXPECT_EQ(service.job(job->id()).getProcess().id, job->launcher->id());
}

TEST_F(JobReplacementTest, WhoEndsWhileItsPersistentSelfWaitsIsReplacedByIt) {
    const auto [job, second] = playTwice();
    job->client().destroy(JobClient::End::UntilNextStart);
    EXPECT_TRUE(second->events.waitForState(JOB_STATE_PLAYING)) << second->log();
    EXPECT_EQ(service.job(job->id()).getProcess().id, second->launcher->id());
}

TEST_F(JobReplacementTest, WhoEndsForGoodIsNotReplacedByItsPersistentSelf) {
    const auto [job, second] = playTwice();
    job->client().destroy(JobClient::End::ForGood);
    EXPECT_TRUE(second->events.waitForEnd());
    EXPECT_EQ(second->launcher->waitForEnd(), Ending::exited(1));
    EXPECT_FALSE(std::filesystem::exists(pathOf("persistent")));
}

// The service read its file, and then it was ended for good by whom it was launched beside: nobody
// has the id any more when this one asks for it.
TEST_F(JobReplacementTest, WhoComesBackFromAFileThatIsGoneStaysAway) {
    const auto job = makeJob(endless);
    job->setup().set_persistent_file_path(pathOf("persistent"));
    job->setup().set_restored_from_file(pathOf("persistent"));
    job->launch();
    job->setUp();
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_NE(end->message().find("Ended for good meanwhile: "), std::string::npos)
        << end->message();
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(1));
    EXPECT_FALSE(std::filesystem::exists(pathOf("persistent")));
}

}  // namespace
}  // namespace tarn::test
