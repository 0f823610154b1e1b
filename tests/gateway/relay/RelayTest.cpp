#include "gateway/relay/Relay.h"

#include <gtest/gtest.h>

#include "tests/gateway/Batches.h"

namespace tarn::gateway {

using test::ServiceEventBatch;

namespace {

class RelayTest : public testing::Test {
  protected:
    /// As a subscriber gets it.
    ServiceEventBatch relayed(const ServiceEventBatch& batch) {
        const auto bytes = batch.SerializeAsString();
        const auto head = relay.accept(bytes);
        EXPECT_TRUE(head);
        return parsed(head.value_or("") + bytes);
    }

    ServiceEventBatch catchUp() {
        const auto message = relay.catchUp();
        return parsed(message.address + message.body);
    }

    static ServiceEventBatch numbered(std::uint64_t number, ServiceEventBatch batch = {},
                                      const std::string& service = "service") {
        batch.set_service_sequence(number);
        batch.set_service_instance(service);
        return batch;
    }

    static ServiceEventBatch parsed(const std::string& bytes) {
        ServiceEventBatch batch;
        EXPECT_TRUE(batch.ParseFromString(bytes));
        return batch;
    }

    Relay relay{"instance"};
};

}  // namespace

TEST_F(RelayTest, BatchesAreNumberedFromOneAndOtherwiseAsTheyCame) {
    for (std::uint64_t number = 1; number < 300; ++number) {
        const auto sent = test::deviceAdded(std::to_string(number));
        auto received = relayed(sent);
        EXPECT_EQ(received.sequence(), number);
        EXPECT_EQ(received.gateway_instance(), "instance");
        EXPECT_FALSE(received.has_catch_up());
        received.clear_sequence();
        received.clear_gateway_instance();
        EXPECT_EQ(received.SerializeAsString(), sent.SerializeAsString());
    }
}

TEST_F(RelayTest, ANewcomerGetsTheLastTreeAndTheLastNumberButNoEvents) {
    relayed(test::deviceAdded("a"));
    relayed(test::deviceAdded("b"));
    const auto first = catchUp();
    EXPECT_TRUE(first.catch_up());
    EXPECT_EQ(first.sequence(), 2U);
    EXPECT_EQ(first.gateway_instance(), "instance");
    EXPECT_EQ(test::firstDevice(first), "b");
    EXPECT_EQ(first.events_size(), 0);
}

TEST_F(RelayTest, WithoutATreeANewcomerGetsNoTree) {
    EXPECT_FALSE(catchUp().has_device_tree());
    EXPECT_EQ(catchUp().sequence(), 0U);
    relayed(ServiceEventBatch());
    EXPECT_FALSE(catchUp().has_device_tree());
    EXPECT_EQ(catchUp().sequence(), 1U);
}

TEST_F(RelayTest, AnEmptyBatchIsHandedOnAndLeavesTheTree) {
    relayed(test::treeOnly("a"));
    const auto empty = relayed(ServiceEventBatch());
    EXPECT_EQ(empty.sequence(), 2U);
    EXPECT_FALSE(empty.has_device_tree());
    EXPECT_EQ(test::firstDevice(catchUp()), "a");
    EXPECT_EQ(catchUp().sequence(), 2U);
}

TEST_F(RelayTest, GarbageIsNotCountedAndLeavesTheTree) {
    relayed(test::treeOnly("a"));
    EXPECT_FALSE(relay.accept("garbage"));
    EXPECT_EQ(test::firstDevice(catchUp()), "a");
    EXPECT_EQ(relayed(ServiceEventBatch()).sequence(), 2U);
}

TEST_F(RelayTest, WhomAMessageIsForIsInItsBeginning) {
    relayed(test::treeOnly("a"));
    EXPECT_TRUE(relay.accept("")->starts_with(Relay::batchBeginning));
    EXPECT_TRUE(Relay::filler.starts_with(Relay::batchBeginning));
}

TEST_F(RelayTest, NoCatchUpIsMeantForTwo) {
    std::vector<std::string> addresses;
    for (int i = 0; i < 300; ++i) {
        addresses.push_back(relay.catchUp().address);
        EXPECT_FALSE(addresses.back().starts_with(Relay::batchBeginning));
        EXPECT_FALSE(Relay::batchBeginning.starts_with(addresses.back()));
        for (int before = 0; before < i; ++before) {
            ASSERT_FALSE(addresses[i].starts_with(addresses[before]));
            ASSERT_FALSE(addresses[before].starts_with(addresses[i]));
        }
    }
}

TEST_F(RelayTest, TheTreeIsInDoubtUntilOneComes) {
    EXPECT_EQ(relay.doubt(), 1U);
    relayed(ServiceEventBatch());
    EXPECT_EQ(relay.doubt(), 1U);
    relayed(test::treeOnly("a"));
    EXPECT_EQ(relay.doubt(), std::nullopt);
}

TEST_F(RelayTest, NumbersThatAreLeftOutAreADoubt) {
    relayed(numbered(1, test::treeOnly("a")));
    relayed(numbered(2));
    EXPECT_EQ(relay.doubt(), std::nullopt);
    relayed(numbered(4));
    EXPECT_TRUE(relay.doubt());
    relayed(numbered(5));
    EXPECT_TRUE(relay.doubt());
    relayed(numbered(7, test::treeOnly("b")));
    EXPECT_EQ(relay.doubt(), std::nullopt);
}

TEST_F(RelayTest, AnotherServiceIsADoubt) {
    relayed(numbered(1, test::treeOnly("a")));
    relayed(numbered(2, {}, "other service"));
    EXPECT_TRUE(relay.doubt());
    relayed(numbered(3, test::treeOnly("b"), "other service"));
    EXPECT_EQ(relay.doubt(), std::nullopt);
}

TEST_F(RelayTest, TheAnswerSettlesTheDoubtAndIsABatchToAll) {
    relayed(numbered(5, test::treeOnly("a")));
    relayed(numbered(7));
    const auto answer = test::treeOnly("b").SerializeAsString();
    const auto settlement = relay.settle(relay.doubt().value(), answer);
    ASSERT_TRUE(settlement);
    EXPECT_TRUE(settlement->head.starts_with(Relay::batchBeginning));
    const auto batch = parsed(settlement->head + std::string(settlement->tree));
    EXPECT_TRUE(batch.asked_for());
    EXPECT_EQ(batch.sequence(), 3U);
    EXPECT_EQ(test::firstDevice(batch), "b");
    EXPECT_EQ(relay.doubt(), std::nullopt);
    EXPECT_EQ(test::firstDevice(catchUp()), "b");
    EXPECT_EQ(relayed(numbered(8)).sequence(), 4U);
}

TEST_F(RelayTest, AnAnswerThatIsKnownAlreadyIsToldToNobody) {
    relayed(numbered(5, test::treeOnly("a")));
    relayed(numbered(7));
    EXPECT_FALSE(relay.settle(relay.doubt().value(), test::treeOnly("a").SerializeAsString()));
    EXPECT_EQ(relay.doubt(), std::nullopt);
    EXPECT_EQ(relayed(numbered(8)).sequence(), 3U);
}

TEST_F(RelayTest, AnAnswerToAnEarlierDoubtSettlesNothing) {
    relayed(numbered(1, test::treeOnly("a")));
    relayed(numbered(3));
    const auto first = relay.doubt().value();
    relayed(numbered(5));
    EXPECT_FALSE(relay.settle(first, test::treeOnly("b").SerializeAsString()));
    EXPECT_TRUE(relay.doubt());
    EXPECT_EQ(test::firstDevice(catchUp()), "a");
    // Nor does one that a newer tree has overtaken.
    const auto second = relay.doubt().value();
    relayed(numbered(6, test::treeOnly("c")));
    EXPECT_FALSE(relay.settle(second, test::treeOnly("b").SerializeAsString()));
    EXPECT_EQ(test::firstDevice(catchUp()), "c");
}

TEST_F(RelayTest, AnAnswerWithoutATreeOrOfGarbageSettlesNothing) {
    EXPECT_FALSE(relay.settle(1, ""));
    EXPECT_FALSE(relay.settle(1, "garbage"));
    EXPECT_EQ(relay.doubt(), 1U);
}

TEST_F(RelayTest, AFillerMeansNothing) {
    const auto filler = parsed(Relay::filler);
    EXPECT_EQ(filler.sequence(), 0U);
    EXPECT_FALSE(filler.has_device_tree());
    EXPECT_EQ(filler.events_size(), 0);
}

}  // namespace tarn::gateway
