#include "peers/loop_storage/server/Outbox.h"

#include <gtest/gtest.h>

namespace tarn::peers::loop_storage {
namespace {

TEST(OutboxTest, IsFullOfAnswers) {
    Outbox outbox;
    for (int i = 0; i < 63; ++i) {
        outbox.add("answer", {});
    }
    EXPECT_FALSE(outbox.isFull());
    outbox.add("answer", {});
    EXPECT_TRUE(outbox.isFull());
}

TEST(OutboxTest, IsFullOfTheirBytesUntilTheyAreSent) {
    Outbox outbox;
    outbox.add(std::string(200U << 10U, 'x'), {});
    EXPECT_FALSE(outbox.isFull());
    outbox.begin();
    outbox.add(std::string(100U << 10U, 'x'), {});
    EXPECT_TRUE(outbox.isFull()) << "what is being sent counts as well";
    outbox.finish();
    EXPECT_FALSE(outbox.isFull());
    outbox.begin();
    outbox.finish();
    outbox.add(std::string(200U << 10U, 'x'), {});
    EXPECT_FALSE(outbox.isFull());
}

TEST(OutboxTest, CountsPayloadsByThemselves) {
    Outbox outbox;
    outbox.add("frame", std::vector<char>(1U << 20U));
    EXPECT_FALSE(outbox.isFull());
    EXPECT_EQ(outbox.payloads(), 1U);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
