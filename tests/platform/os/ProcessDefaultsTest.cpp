#include "platform/os/ProcessDefaults.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace tarn::os {

TEST(ProcessDefaultsTest, WritingToAPipeThatNobodyReadsIsAnError) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    ::close(ends[0]);
    ::signal(SIGPIPE, SIG_DFL);
    ignoreBrokenPipes();
    EXPECT_EQ(::write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    ::close(ends[1]);
    ::signal(SIGPIPE, SIG_DFL);
}

// The limit that a process was started with is remembered once: so this is one test.
TEST(ProcessDefaultsTest, TheLimitOfDescriptorsIsRaisedAndTheOneBeforeIsRemembered) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit low{before.rlim_max / 2, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    EXPECT_EQ(inheritedDescriptorLimit(), low.rlim_cur);
    raiseDescriptorLimit();
    raiseDescriptorLimit();
    rlimit raised{};
    ::getrlimit(RLIMIT_NOFILE, &raised);
    EXPECT_EQ(raised.rlim_cur, before.rlim_max);
    EXPECT_EQ(inheritedDescriptorLimit(), low.rlim_cur);
    ::setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace tarn::os
