#include "platform/socket/visitors/FairQueue.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tarn::socket {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FairQueueTest : public testing::Test {
  protected:
    /// Takes all that may be served now; each takes so long.
    std::vector<std::string> serveAll(std::chrono::milliseconds each = 0ms) {
        std::vector<std::string> order;
        while (const auto next = queue.take()) {
            order.push_back(*next);
            now += each;
            queue.served();
        }
        return order;
    }

    /// What keeps the thread busy for so long.
    void serveOne(const FairQueue<std::string>::Asker& asker, std::chrono::milliseconds time) {
        queue.add(asker, "slow");
        ASSERT_TRUE(queue.take());
        now += time;
        queue.served();
    }

    FairQueue<std::string>::Clock::time_point now{1h};
    FairQueue<std::string> queue{[this] { return now; }};
    const Visitor first = Visitor::OfUser(1001);
    const Visitor second = Visitor::OfUser(1002);
};

}  // namespace

TEST_F(FairQueueTest, IsEmptyAtFirst) {
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.take(), std::nullopt);
    EXPECT_EQ(queue.due(), std::nullopt);
    queue.served();
}

TEST_F(FairQueueTest, ServesOneAskerInTheOrderOfArrival) {
    for (const auto* const text : {"a", "b", "c"}) {
        queue.add(first, text);
    }
    EXPECT_EQ(queue.waitingOf(first), 3U);
    EXPECT_THAT(serveAll(), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(FairQueueTest, LetsNobodyWaitForMoreThanOneRequestOfAnother) {
    for (int i = 0; i < 1000; ++i) {
        queue.add(first, "flood");
    }
    EXPECT_EQ(queue.take(), "flood");
    queue.served();
    queue.add(second, "other");
    queue.add({}, "not counted");
    queue.add({}, "not counted");
    std::vector<std::string> order;
    for (int i = 0; i < 5; ++i) {
        order.push_back(queue.take().value());
        queue.served();
    }
    EXPECT_THAT(order, ElementsAre("other", "not counted", "flood", "not counted", "flood"));
}

TEST_F(FairQueueTest, LetsWhoHasHadHisShareOfTheTimeWait) {
    serveOne(first, 500ms);
    serveOne(first, 100ms);
    queue.add(first, "next");
    EXPECT_EQ(queue.take(), std::nullopt);
    ASSERT_TRUE(queue.due());
    EXPECT_EQ(*queue.due() - now, 300ms);  // a quarter of the time that has passed is his
    queue.add(second, "other");
    EXPECT_LE(*queue.due(), now);
    EXPECT_THAT(serveAll(), ElementsAre("other"));
    now += 300ms;
    EXPECT_THAT(serveAll(), ElementsAre("next"));
}

TEST_F(FairQueueTest, GivesAQuarterOfTheTimeToWhoAsksForAllOfIt) {
    serveOne(first, 500ms);
    for (int i = 0; i < 2000; ++i) {
        queue.add(first, "20 ms");
    }
    const auto begin = now;
    std::size_t served = 0;
    while (now - begin < 10s) {
        const auto count = serveAll(20ms).size();
        served += count;
        now += count == 0 ? 5ms : 0ms;
    }
    EXPECT_GE(served, 120U);
    EXPECT_LE(served, 130U);  // a quarter would be 125
}

TEST_F(FairQueueTest, LetsNobodyWaitLongForOneRequestThatHung) {
    serveOne(first, 60s);
    queue.add(first, "next");
    EXPECT_EQ(*queue.due() - now, ServingTime::longestPause);
}

TEST_F(FairQueueTest, LetsNobodyWaitWhoIsNotCounted) {
    serveOne({}, 60s);
    queue.add({}, "next");
    EXPECT_THAT(serveAll(), ElementsAre("next"));
}

}  // namespace tarn::socket
