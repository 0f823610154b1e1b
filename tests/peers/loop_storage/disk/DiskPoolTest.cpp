#include "peers/loop_storage/disk/DiskPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using namespace tarn::peers::loop_storage;

constexpr auto bound = 30s;

/// Work that hangs until it is let go of. Outlives the pool, whose threads may still look at it.
class Hanging {
  public:
    DiskPool::Work work() {
        return [this] {
            ++begun;
            gate.wait();
        };
    }
    void release() { opener.set_value(); }
    bool waitFor(int pieces) const {
        return eventually([&] { return begun == pieces; });
    }
    std::atomic<int> begun = 0;

  private:
    std::promise<void> opener;
    const std::shared_future<void> gate = opener.get_future().share();
};

/// Whether a piece of work is done within a bound.
bool isDone(DiskPool& pool, DiskQueue& queue) {
    const auto done = std::make_shared<std::promise<void>>();
    pool.add(queue, [done] { done->set_value(); });
    return done->get_future().wait_for(bound) == std::future_status::ready;
}

TEST(DiskPoolTest, DoesTheWorkOfAQueueInItsOrder) {
    DiskPool pool({});
    DiskQueue queue;
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(pool.add(queue, [&order, i] { order.push_back(i); }));
    }
    pool.finish();
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(DiskPoolTest, QueuesThatHangHoldNoOtherUp) {
    Hanging hanging;
    DiskPool pool({});
    std::vector<DiskQueue> slow(50);
    for (auto& queue : slow) {
        for (int i = 0; i < 10; ++i) {
            pool.add(queue, hanging.work());
        }
    }
    EXPECT_TRUE(hanging.waitFor(50));
    DiskQueue quick;
    EXPECT_TRUE(isDone(pool, quick));
    EXPECT_EQ(hanging.begun, 50) << "one thread each";
    hanging.release();
    pool.finish();
    EXPECT_EQ(hanging.begun, 500);
}

TEST(DiskPoolTest, AQueueHasSoManyPiecesDoneAtATime) {
    Hanging hanging;
    DiskPool pool({});
    DiskQueue queue(3);
    for (int i = 0; i < 10; ++i) {
        pool.add(queue, hanging.work());
    }
    EXPECT_TRUE(hanging.waitFor(3));
    DiskQueue other;
    EXPECT_TRUE(isDone(pool, other));
    EXPECT_EQ(hanging.begun, 3);
    hanging.release();
    pool.finish();
    EXPECT_EQ(hanging.begun, 10);
}

TEST(DiskPoolTest, WhereThreadsAreShortAQueueHasOne) {
    Hanging hanging;
    DiskPool pool({.threads = 8});
    DiskQueue greedy(8);
    for (int i = 0; i < 8; ++i) {
        pool.add(greedy, hanging.work());
    }
    EXPECT_TRUE(hanging.waitFor(4));
    Hanging others;
    std::vector<DiskQueue> queues(3);
    for (auto& queue : queues) {
        pool.add(queue, others.work());
    }
    EXPECT_TRUE(others.waitFor(3));
    DiskQueue quick;
    EXPECT_TRUE(isDone(pool, quick)) << "the last thread";
    EXPECT_EQ(hanging.begun, 4);
    hanging.release();
    others.release();
    pool.finish();
    EXPECT_EQ(hanging.begun, 8);
}

TEST(DiskPoolTest, TakesNoMoreThreadsThanItMayAndForgetsNothing) {
    Hanging hanging;
    DiskPool pool({.threads = 4});
    std::vector<DiskQueue> queues(10);
    for (auto& queue : queues) {
        pool.add(queue, hanging.work());
    }
    EXPECT_TRUE(hanging.waitFor(4));
    EXPECT_EQ(pool.threadCount(), 4U);
    hanging.release();
    pool.finish();
    EXPECT_EQ(hanging.begun, 10);
}

TEST(DiskPoolTest, ThreadsWithoutWorkEndButForOne) {
    Hanging hanging;
    DiskPool pool({.idle = 1ms});
    std::vector<DiskQueue> queues(10);
    for (auto& queue : queues) {
        pool.add(queue, hanging.work());
    }
    EXPECT_TRUE(hanging.waitFor(10));
    EXPECT_GE(pool.threadCount(), 10U);
    hanging.release();
    EXPECT_TRUE(eventually([&] { return pool.threadCount() == 1; }));
    EXPECT_TRUE(isDone(pool, queues.front()));
}

TEST(DiskPoolTest, WorkThatFailsIsLoggedAndTheRestIsDone) {
    const LogCapture log;
    DiskPool pool({});
    DiskQueue queue;
    pool.add(queue, [] { throw std::runtime_error("the disk is gone"); });
    EXPECT_TRUE(isDone(pool, queue));
    EXPECT_TRUE(log.contains("the disk is gone"));
}

TEST(DiskPoolTest, RefusesWhatIsTooMuchForOneQueue) {
    Hanging hanging;
    DiskPool pool({.waiting = 2});
    DiskQueue queue;
    pool.add(queue, hanging.work());
    EXPECT_TRUE(hanging.waitFor(1));
    EXPECT_TRUE(pool.add(queue, [] {}));
    EXPECT_TRUE(pool.add(queue, [] {}));
    EXPECT_FALSE(pool.add(queue, [] {}));
    DiskQueue other;
    EXPECT_TRUE(isDone(pool, other));
    hanging.release();
}

TEST(DiskPoolTest, WhatWaitsOutlivesItsQueue) {
    std::atomic<int> done = 0;
    Hanging hanging;
    DiskPool pool({});
    {
        DiskQueue queue;
        pool.add(queue, hanging.work());
        pool.add(queue, [&] { ++done; });
    }
    hanging.release();
    pool.finish();
    EXPECT_EQ(done, 1);
}

}  // namespace
}  // namespace tarn::test
