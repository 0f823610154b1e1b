#include "platform/socket/zmq/EndpointQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

using utils::EndpointQueue;
using Wish = EndpointQueue::Wish;

namespace {

class EndpointQueueTest : public testing::Test {
  protected:
    /// Asks on a thread of its own; returns when that can be served.
    std::future<std::string> asking(Wish wish) {
        std::promise<void> asked;
        auto canBeServed = asked.get_future();
        auto answer =
            std::async(std::launch::async, [this, wish, done = std::move(asked)]() mutable {
                return queue.ask(wish, endpoint, [&done] { done.set_value(); });
            });
        canBeServed.wait();
        return answer;
    }

    std::string askWithoutAWait() {
        bool isWoken = false;
        auto answer = queue.ask(Wish::Bind, endpoint, [&] { isWoken = true; });
        EXPECT_FALSE(isWoken);
        return answer;
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    EndpointQueue queue;
};

}  // namespace

TEST_F(EndpointQueueTest, RefusesWhoAsksWhereNobodyServes) {
    EXPECT_EQ(askWithoutAWait(), "the listener has ended");
    queue.open();
    queue.close();
    EXPECT_EQ(askWithoutAWait(), "the listener has ended");
}

TEST_F(EndpointQueueTest, AnswersAllWhoAskWithWhatBecameOfIt) {
    queue.open();
    auto first = asking(Wish::Bind);
    auto second = asking(Wish::Unbind);
    int served = 0;
    queue.serve([&](Wish wish, const SocketEndpoint& asked) {
        ++served;
        EXPECT_TRUE(asked == endpoint);
        return wish == Wish::Bind ? "" : "no";
    });
    EXPECT_EQ(served, 2);
    EXPECT_EQ(first.get(), "");
    EXPECT_EQ(second.get(), "no");
    queue.serve([&](Wish, const SocketEndpoint&) {
        ADD_FAILURE() << "nobody asks any more";
        return "";
    });
}

TEST_F(EndpointQueueTest, RefusesWhoStillWaitsAtTheEnd) {
    queue.open();
    auto waiting = asking(Wish::Bind);
    queue.close();
    EXPECT_EQ(waiting.get(), "the listener has ended");
}

}  // namespace tarn::socket::test
