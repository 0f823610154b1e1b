#include "peers/job_runtime/supervision/InputWait.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(InputWaitTest, EndsWithInputOnAnyOfTheDescriptors) {
    const os::FileDescriptor silent(::eventfd(0, EFD_CLOEXEC));
    const os::FileDescriptor ready(::eventfd(1, EFD_CLOEXEC));
    const auto begin = Clock::now();
    waitForInput({silent.get(), -1, ready.get()}, 1h);
    EXPECT_LT(Clock::now(), begin + 1h);
}

TEST(InputWaitTest, EndsAfterTheLongestTime) {
    const os::FileDescriptor silent(::eventfd(0, EFD_CLOEXEC));
    const auto begin = Clock::now();
    waitForInput({silent.get(), -1}, 20ms);
    EXPECT_GE(Clock::now(), begin + 20ms);
}

TEST(InputWaitTest, DoesNotWaitForATimeThatHasPassed) {
    const auto begin = Clock::now();
    waitForInput({-1}, -1h);
    EXPECT_LT(Clock::now(), begin + 1h);
}

}  // namespace
}  // namespace tarn::peers
