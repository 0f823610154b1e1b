#include "cli/Interrupt.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/os/Readable.h"

namespace tarn::cli {
namespace {

using namespace std::chrono_literals;

void pressCtrlC() {
    ::kill(::getpid(), SIGINT);
}

TEST(InterruptTest, IsKeptFromTheFirstCtrlCOn) {
    const Interrupt interrupt;
    EXPECT_FALSE(interrupt.requested());
    EXPECT_FALSE(interrupt.requestedWithin(1ms));
    for (int i = 0; i < 2; ++i) {
        pressCtrlC();
        EXPECT_TRUE(interrupt.requested());
        EXPECT_TRUE(interrupt.requestedWithin(1h));
        EXPECT_TRUE(os::becomesReadable(interrupt.descriptor(), os::Deadline(1h)));
    }
}

TEST(InterruptTest, WhatWasPressedWhileItLivedDoesNotEndTheProcessAfterwards) {
    {
        const Interrupt interrupt;
        pressCtrlC();
        pressCtrlC();
    }
    const Interrupt next;
    EXPECT_FALSE(next.requested());
}

[[noreturn]] void pressAfterwards() {
    { const Interrupt interrupt; }
    pressCtrlC();
    ::_exit(0);
}

TEST(InterruptTest, EndsTheProcessAgainAfterwards) {
    EXPECT_EXIT(pressAfterwards(), testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace tarn::cli
