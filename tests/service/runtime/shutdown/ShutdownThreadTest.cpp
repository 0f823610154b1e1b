#include "service/runtime/shutdown/ShutdownThread.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <future>

namespace tarn::service {

using namespace std::chrono_literals;

class ShutdownThreadTest : public testing::Test {
  protected:
    ShutdownThread::Actions recorder() {
        return {[this](int number) { ran.set_value(number); }, [this] { ended.set_value(); }};
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
    raise(SIGINT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGINT);
}

TEST_F(ShutdownThreadTest, HandlesQuitLikeInterrupt) {
    ShutdownThread thread(stop, recorder());
    thread.allowShutdown();
    raise(SIGQUIT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGQUIT);
}

TEST_F(ShutdownThreadTest, LetsTheStartUpComeToRestFirst) {
    ShutdownThread thread(stop, recorder(), 1h);
    raise(SIGINT);
    EXPECT_TRUE(stop.requested());
    EXPECT_EQ(result.wait_for(50ms), std::future_status::timeout);
    thread.allowShutdown();
    EXPECT_EQ(result.wait_for(10s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, DoesNotWaitForAStepThatTakesForEver) {
    ShutdownThread thread(stop, recorder(), 1ms);
    raise(SIGINT);
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGINT);
    EXPECT_EQ(end.wait_for(10s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, LetsTheMainThreadEndTheProcessIfItComesToRestMeanwhile) {
    ShutdownThread* running = nullptr;
    auto actions = recorder();
    actions.shutdown = [&](int number) {
        running->allowShutdown();
        ran.set_value(number);
    };
    {
        ShutdownThread thread(stop, actions, 1ms);
        running = &thread;
        raise(SIGINT);
        EXPECT_EQ(result.wait_for(10s), std::future_status::ready);
    }
    EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, EndsTheProcessOnlyWhenTheMainThreadIsStuck) {
    {
        ShutdownThread thread(stop, recorder());
        raise(SIGINT);
        thread.allowShutdown();
    }
    EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
}

TEST_F(ShutdownThreadTest, IsWaitedForByTheEndOfTheObject) {
    {
        ShutdownThread thread(stop, recorder());
        raise(SIGINT);
        thread.allowShutdown();
    }
    EXPECT_EQ(result.wait_for(0s), std::future_status::ready);
}

TEST_F(ShutdownThreadTest, DoesNothingWhenTheStartUpGaveUp) {
    {
        ShutdownThread thread(stop, recorder());
        raise(SIGINT);
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
    raise(SIGQUIT);
    raise(SIGINT);
    thread.allowShutdown();
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(result.get(), SIGQUIT);
}

}  // namespace tarn::service
