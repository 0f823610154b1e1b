#include "peers/loop_storage/server/NetworkThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <future>
#include <stdexcept>
#include <thread>

#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using namespace tarn::peers::loop_storage;
namespace asio = boost::asio;

struct NetworkThreadsTest : testing::Test {
    ~NetworkThreadsTest() override {
        work.reset();
        runner.join();
        EXPECT_EQ(threads.threadCount(), 0U);
    }

    /// Whether a handler is run within a bound.
    bool isServed() {
        const auto done = std::make_shared<std::promise<void>>();
        asio::post(context, [done] { done->set_value(); });
        return done->get_future().wait_for(30s) == std::future_status::ready;
    }
    /// So many handlers that a disk holds up until `gate` opens.
    void holdUp(int handlers) {
        for (int i = 0; i < handlers; ++i) {
            asio::post(context, [this] {
                const DiskAccess access;
                ++held;
                gate.wait();
            });
        }
    }

    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    NetworkThreads threads{
        context, {.atOnce = 4, .most = 64, .look = std::chrono::milliseconds(1), .patience = 3}};
    std::thread runner{[this] { threads.run(); }};
    std::promise<void> opener;
    std::shared_future<void> gate = opener.get_future().share();
    std::atomic<int> held = 0;
};

TEST_F(NetworkThreadsTest, WhatAHandlerThrowsIsLoggedAndEndsNothing) {
    const LogCapture log;
    for (int i = 0; i < 20; ++i) {
        asio::post(context, [] { throw std::runtime_error("a sector cannot be read"); });
    }
    EXPECT_TRUE(isServed());
    EXPECT_TRUE(log.contains("a sector cannot be read"));
    EXPECT_TRUE(eventually([this] { return threads.threadCount() == 4; }));
}

TEST_F(NetworkThreadsTest, ThoseThatADiskHoldsUpAreReplacedAsLong) {
    holdUp(20);
    EXPECT_TRUE(eventually([this] { return held == 20; })) << held;
    EXPECT_TRUE(isServed());
    EXPECT_GE(threads.threadCount(), 21U);
    opener.set_value();
    EXPECT_TRUE(eventually([this] { return threads.threadCount() == 4; }));
    EXPECT_TRUE(isServed());
}

TEST_F(NetworkThreadsTest, OnceMoreAfterAQuietTime) {
    for (int round = 0; round < 3; ++round) {
        holdUp(5);
        EXPECT_TRUE(eventually([&] { return held == 5 * (round + 1); })) << held;
        EXPECT_TRUE(isServed());
        opener.set_value();
        EXPECT_TRUE(eventually([this] { return threads.threadCount() == 4; }));
        opener = {};
        gate = opener.get_future().share();
    }
    opener.set_value();
}

TEST_F(NetworkThreadsTest, ThereAreNoMoreThanThereMayBe) {
    holdUp(80);
    EXPECT_TRUE(eventually([this] { return held == 64; })) << held;
    EXPECT_EQ(threads.threadCount(), 64U);
    opener.set_value();
    EXPECT_TRUE(eventually([this] { return held == 80; }));
}

}  // namespace
}  // namespace tarn::test
