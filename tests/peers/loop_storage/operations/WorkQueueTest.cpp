#include "peers/loop_storage/operations/WorkQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>

namespace tarn::peers::loop_storage {

namespace {

constexpr auto patience = std::chrono::seconds(20);

/// Adds work when it goes, as the client does that was attached as a writer.
class AddsAtItsEnd {
  public:
    AddsAtItsEnd(WorkQueue& queue, WorkQueue::Work work) : queue(queue), work(std::move(work)) {}
    ~AddsAtItsEnd() { queue.add(work); }
    AddsAtItsEnd(const AddsAtItsEnd&) = delete;
    AddsAtItsEnd& operator=(const AddsAtItsEnd&) = delete;

  private:
    WorkQueue& queue;
    const WorkQueue::Work work;
};

// The queue is left behind where it hangs: nothing ends its thread any more.
TEST(WorkQueueTest, TakesWorkFromWhatGoesWithOtherWork) {
    std::promise<void> isDone;
    auto done = isDone.get_future();
    auto queue = std::make_unique<WorkQueue>(10);
    auto last = std::make_shared<AddsAtItsEnd>(*queue, [&isDone] { isDone.set_value(); });
    std::promise<void> isAlone;
    ASSERT_TRUE(queue->add([last, alone = isAlone.get_future().share()] { alone.wait(); }));
    last.reset();
    isAlone.set_value();
    const auto result = done.wait_for(patience);
    EXPECT_EQ(result, std::future_status::ready);
    if (result != std::future_status::ready) {
        [[maybe_unused]] const auto* const hangs = queue.release();
    }
}

}  // namespace

}  // namespace tarn::peers::loop_storage
