#include "peers/job_runtime/supervision/InputWait.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(InputWait, EndsWithInputOnAnyOfTheDescriptors) {
    const os::FileDescriptor silent(::eventfd(0, EFD_CLOEXEC));
    const os::FileDescriptor ready(::eventfd(1, EFD_CLOEXEC));
    const auto begin = Clock::now();
    waitForInput({silent.get(), -1, ready.get()}, begin + 1h);
    EXPECT_LT(Clock::now(), begin + 1h);
}

TEST(InputWait, EndsAtTheDeadline) {
    const os::FileDescriptor silent(::eventfd(0, EFD_CLOEXEC));
    const auto deadline = Clock::now() + 20ms;
    waitForInput({silent.get(), -1}, deadline);
    EXPECT_GE(Clock::now(), deadline);
}

TEST(InputWait, DoesNotWaitForADeadlineThatHasPassed) {
    const auto begin = Clock::now();
    waitForInput({-1}, begin - 1h);
    EXPECT_LT(Clock::now(), begin + 1h);
}

}  // namespace
}  // namespace tarn::peers
