#include "platform/os/ProcessIdentity.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <limits>

#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/ForkedProcess.h"

namespace tarn::os {

using test::ForkedProcess;

TEST(ProcessIdentityTest, KnowsThisProcess) {
    const auto self = ProcessIdentity::ofThisProcess();
    EXPECT_EQ(self.id, ::getpid());
    EXPECT_GT(self.startTime, 0U);
    EXPECT_EQ(self, ProcessIdentity::of(::getpid()));
    EXPECT_TRUE(isAlive(self));
}

TEST(ProcessIdentityTest, TakesAnUnknownStartTimeForAnyProcessWithTheId) {
    EXPECT_TRUE(isAlive({::getpid(), 0}));
}

TEST(ProcessIdentityTest, CallsAProcessWithAnotherStartTimeDead) {
    EXPECT_FALSE(isAlive(resource_manager::test::formerProcess()));
}

TEST(ProcessIdentityTest, CallsIdsThatCannotBeProcessesDead) {
    for (const pid_t id :
         {0, -1, std::numeric_limits<pid_t>::min(), std::numeric_limits<pid_t>::max()}) {
        EXPECT_FALSE(isAlive({id, 0})) << id;
        EXPECT_EQ(ProcessIdentity::of(id).startTime, 0U) << id;
    }
}

TEST(ProcessIdentityTest, CallsAZombieDeadThoughItsIdStillExists) {
    ForkedProcess child;
    const auto identity = child.identity();
    EXPECT_TRUE(isAlive(identity));
    child.killAndLeaveZombie();
    EXPECT_EQ(child.identity(), identity);
    EXPECT_FALSE(isAlive(identity));
}

TEST(ProcessIdentityTest, CallsAReapedProcessDead) {
    ForkedProcess child;
    const auto identity = child.identity();
    child.killAndReap();
    EXPECT_FALSE(isAlive(identity));
    EXPECT_FALSE(isAlive({identity.id, 0}));
}

// The name stands in brackets before the fields that are read.
TEST(ProcessIdentityTest, IsNotConfusedByTheNameOfAProcess) {
    char previous[16] = {};
    ::prctl(PR_GET_NAME, previous);
    const auto before = ProcessIdentity::ofThisProcess();
    for (const auto* name : {"a) Z 1 (b", ") Z 0 0 0 0", "(((", "x\ny) Z", "a b c"}) {
        ::prctl(PR_SET_NAME, name);
        EXPECT_EQ(ProcessIdentity::ofThisProcess(), before) << name;
        EXPECT_TRUE(isAlive(before)) << name;
    }
    ::prctl(PR_SET_NAME, previous);
}

}  // namespace tarn::os
