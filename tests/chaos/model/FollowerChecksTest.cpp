#include "tests/chaos/model/FollowerChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FollowerChecksTest, NothingIsWrongWithWhatIsTheSame) {
    EXPECT_THAT(followerProblems({{"a", "1"}, {"b", "2"}}, {{"a", "1"}, {"b", "2"}}), IsEmpty());
}

TEST(FollowerChecksTest, AFollowerHoldsEveryDeviceAndNoGhost) {
    EXPECT_THAT(followerProblems({{"a", "1"}}, {{"b", "1"}}),
                ElementsAre("a follower lacks a", "a follower is shown what is not there: b"));
}

TEST(FollowerChecksTest, AFollowerIsShownTheLastValue) {
    EXPECT_THAT(followerProblems({{"a", "value 74"}}, {{"a", "value 38"}}),
                ElementsAre("a follower is shown of a: \"38\" instead of \"74\""));
    EXPECT_THAT(followerProblems({{"a", "value"}}, {{"a", "value 38"}}),
                ElementsAre("a follower is shown of a: \" 38\" instead of \"\""));
}

}  // namespace
}  // namespace tarn::chaos
