#include "platform/os/ProcessIdentity.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <limits>

#include "tests/platform/resource_manager/ChildProcess.h"
#include "tests/platform/resource_manager/TestJobs.h"

namespace tarn::resource_manager {

using test::ChildProcess;

TEST(os::ProcessIdentity, KnowsThisProcess) {
    const auto self = os::ProcessIdentity::ofThisProcess();
    EXPECT_EQ(self.id, ::getpid());
    EXPECT_GT(self.startTime, 0U);
    EXPECT_EQ(self, os::ProcessIdentity::of(::getpid()));
    EXPECT_TRUE(os::isAlive(self));
}

TEST(os::ProcessIdentity, TakesAnUnknownStartTimeForAnyProcessWithTheId) {
    EXPECT_TRUE(os::isAlive({::getpid(), 0}));
}

TEST(os::ProcessIdentity, CallsAProcessWithAnotherStartTimeDead) {
    EXPECT_FALSE(os::isAlive(test::formerProcess()));
}

TEST(os::ProcessIdentity, CallsIdsThatCannotBeProcessesDead) {
    for (const pid_t id :
         {0, -1, std::numeric_limits<pid_t>::min(), std::numeric_limits<pid_t>::max()}) {
        EXPECT_FALSE(os::isAlive({id, 0})) << id;
        EXPECT_EQ(os::ProcessIdentity::of(id).startTime, 0U) << id;
    }
}

TEST(os::ProcessIdentity, CallsAZombieDeadThoughItsIdStillExists) {
    ChildProcess child;
    const auto identity = child.identity();
    EXPECT_TRUE(os::isAlive(identity));
    child.killAndLeaveZombie();
    EXPECT_EQ(child.identity(), identity);
    EXPECT_FALSE(os::isAlive(identity));
}

TEST(os::ProcessIdentity, CallsAReapedProcessDead) {
    ChildProcess child;
    const auto identity = child.identity();
    child.killAndReap();
    EXPECT_FALSE(os::isAlive(identity));
    EXPECT_FALSE(os::isAlive({identity.id, 0}));
}

// The name stands in brackets before the fields that are read.
TEST(os::ProcessIdentity, IsNotConfusedByTheNameOfAProcess) {
    char previous[16] = {};
    ::prctl(PR_GET_NAME, previous);
    const auto before = os::ProcessIdentity::ofThisProcess();
    for (const auto* name : {"a) Z 1 (b", ") Z 0 0 0 0", "(((", "x\ny) Z", "a b c"}) {
        ::prctl(PR_SET_NAME, name);
        EXPECT_EQ(os::ProcessIdentity::ofThisProcess(), before) << name;
        EXPECT_TRUE(os::isAlive(before)) << name;
    }
    ::prctl(PR_SET_NAME, previous);
}

}  // namespace tarn::resource_manager
