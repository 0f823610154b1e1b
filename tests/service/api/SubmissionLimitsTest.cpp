#include "service/api/SubmissionLimits.h"

#include <gmock/gmock.h>

#include <set>

#include "tests/support/LogCapture.h"

namespace tarn::service {

namespace {

using namespace std::chrono_literals;
using socket::Visitor;

class SubmissionLimitsTest : public testing::Test {
  protected:
    std::optional<std::string> refusal(const std::optional<Visitor>& visitor) {
        return limits.refusal(visitor, numbers,
                              [this](const std::string& id) { return running.contains(id); });
    }

    int submissions(const Visitor& visitor) {
        int count = 0;
        while (count < 100 && !refusal(visitor)) {
            ++count;
        }
        return count;
    }

    const test::LogCapture log;
    socket::Limits numbers{.submissionsPerSecond = 5, .jobsPerUser = 20};
    std::chrono::steady_clock::time_point now{1h};
    std::set<std::string> running;
    SubmissionLimits limits{"Api > ", [this] { return now; }};
    const Visitor first = Visitor::OfUser(1001);
    const Visitor second = Visitor::OfUser(1002);
};

}  // namespace

TEST_F(SubmissionLimitsTest, LetEachMakeSoManyASecond) {
    EXPECT_EQ(submissions(first), 10);
    EXPECT_EQ(refusal(first), "Too many submissions: user 1001 may make 5 a second");
    EXPECT_EQ(submissions(second), 10) << "another has his own";
    now += 1s;
    EXPECT_EQ(submissions(first), 5);
    now += 1h;
    EXPECT_EQ(submissions(first), 10);
}

TEST_F(SubmissionLimitsTest, LetEachHaveSoManyJobs) {
    numbers = {.submissionsPerSecond = 100, .jobsPerUser = 3};
    for (const std::string id : {"a", "b", "c"}) {
        EXPECT_EQ(refusal(first), std::nullopt);
        limits.note(first, id);
        running.insert(id);
    }
    EXPECT_EQ(refusal(first), "Too many jobs: user 1001 may have 3");
    EXPECT_EQ(refusal(second), std::nullopt);
    running.erase("b");
    EXPECT_EQ(refusal(first), std::nullopt);
    limits.note(first, "a");  // which was there already
    EXPECT_EQ(refusal(first), std::nullopt);
}

TEST_F(SubmissionLimitsTest, AreNotForWhoIsNotCounted) {
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(refusal(std::nullopt), std::nullopt);
        limits.note(std::nullopt, std::to_string(i));
    }
}

TEST_F(SubmissionLimitsTest, AreLoggedOnceASecondAtMost) {
    for (int i = 0; i < 100; ++i) {
        refusal(first);
    }
    EXPECT_THAT(log.lines(), testing::ElementsAre(
                                 "WARN Api > Too many submissions: user 1001 may make 5 a second"));
}

}  // namespace tarn::service
