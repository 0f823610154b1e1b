#include "service/runtime/shutdown/ShutdownThread.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <future>

namespace tarn::service {

using namespace std::chrono_literals;

class ShutdownThreadTest : public testing::Test {
  protected:
    ShutdownThread::Actions recorder() {
        return {[this](int number) { ran.set_value(number); }, [this] { ended.set_value(); }};
    }

    static void signalProcess(int number) { ::kill(::getpid(), number); }

    static bool isBlockedHere(int number) {
        sigset_t now;
        ::pthread_sigmask(SIG_BLOCK, nullptr, &now);
        return ::sigismember(&now, number) == 1;
    }

    StopSignal stop;
    std::promise<int> ran;
    std::future<int> result = ran.get_future();
    std::promise<void> ended;
    std::future<void> end = ended.get_future();
};

TEST_F(ShutdownThreadTest, RunsTheShutdownWhenASignalArrives) {
    ShutdownThread thread(stop, recorder());
    thread.allowShutdown();
    signalProcess(SIGINT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGINT);
}

TEST_F(ShutdownThreadTest, HandlesQuitLikeInterrupt) {
    ShutdownThread thread(stop, recorder());
    thread.allowShutdown();
    signalProcess(SIGQUIT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGQUIT);
}

TEST_F(ShutdownThreadTest, LetsTheStartUpComeToRestFirst) {
    ShutdownThread thread(stop, recorder(), 1h);
    signalProcess(SIGINT);
    EXPECT_TRUE(stop.waitFor(10s));
    EXPECT_EQ(result.wait_for(50ms), std::future_status::timeout);
    thread.allowShutdown();
    EXPECT_EQ(result.wait_for(10s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, DoesNotWaitForAStepThatTakesForEver) {
    ShutdownThread thread(stop, recorder(), 1ms);
    signalProcess(SIGINT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGINT);
    EXPECT_EQ(end.wait_for(10s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, LetsTheMainThreadEndTheProcessIfItComesToRestMeanwhile) {
    std::atomic<ShutdownThread*> running{nullptr};
    auto actions = recorder();
    actions.shutdown = [&](int number) {
        running.load()->allowShutdown();
        ran.set_value(number);
    };
    {
        ShutdownThread thread(stop, actions, 1ms);
        running = &thread;
        signalProcess(SIGINT);
        EXPECT_EQ(result.wait_for(10s), std::future_status::ready);
    }
    EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, EndsTheProcessOnlyWhenTheMainThreadIsStuck) {
    {
        ShutdownThread thread(stop, recorder());
        signalProcess(SIGINT);
        thread.allowShutdown();
    }
    EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, IsWaitedForByTheEndOfTheObject) {
    {
        ShutdownThread thread(stop, recorder());
        signalProcess(SIGINT);
        thread.allowShutdown();
    }
    EXPECT_EQ(result.wait_for(0s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, DoesNothingWhenTheStartUpGaveUp) {
    {
        ShutdownThread thread(stop, recorder());
        signalProcess(SIGINT);
    }
    EXPECT_EQ(result.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, EndsWithoutASignal) {
    {
        ShutdownThread thread(stop, recorder());
        thread.allowShutdown();
    }
    EXPECT_EQ(result.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, CountsTheFirstSignalOnly) {
    ShutdownThread thread(stop, recorder());
    signalProcess(SIGQUIT);
    ASSERT_TRUE(stop.waitFor(10s));
    signalProcess(SIGINT);
    thread.allowShutdown();
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGQUIT);
}

// A thread that waits for a condition may be told of a signal only when it is woken by another.
TEST_F(ShutdownThreadTest, TakesTheSignalsFromAllOtherThreads) {
    {
        ShutdownThread thread(stop, recorder());
        thread.allowShutdown();
        auto startedLater = std::async(
            std::launch::async, [] { return isBlockedHere(SIGINT) && isBlockedHere(SIGQUIT); });
        EXPECT_TRUE(startedLater.get());
        for (const int number : {SIGINT, SIGQUIT}) {
            EXPECT_TRUE(isBlockedHere(number)) << number;
        }
        EXPECT_FALSE(isBlockedHere(SIGTERM));  // it still ends the process
        ::pthread_kill(::pthread_self(), SIGINT);
        EXPECT_FALSE(stop.requested());
        signalProcess(SIGQUIT);
        ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
        EXPECT_EQ(result.get(), SIGQUIT);
    }
    EXPECT_FALSE(isBlockedHere(SIGINT));
    EXPECT_FALSE(isBlockedHere(SIGQUIT));
}

}  // namespace tarn::service
