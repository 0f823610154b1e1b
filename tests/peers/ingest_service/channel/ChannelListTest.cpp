#include "peers/ingest_service/channel/ChannelList.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace tarn::peers::ingest_service {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ChannelListTest, PairsNumbersAndOffsets) {
    const auto channels = parseChannels("3 1 ", "0 -2 ");
    ASSERT_EQ(channels.size(), 2U);
    EXPECT_EQ(channels[0].number, 3U);
    EXPECT_EQ(channels[0].frameOffset, 0);
    EXPECT_EQ(channels[1].number, 1U);
    EXPECT_EQ(channels[1].frameOffset, -2);
}

TEST(ChannelListTest, WithoutNumbersIsEmpty) {
    EXPECT_THAT(parseChannels("", ""), IsEmpty());
    EXPECT_THAT(parseChannels("  ", " "), IsEmpty());
}

TEST(ChannelListTest, AChannelWithoutAnOffsetHasNone) {
    EXPECT_EQ(parseChannels("3 1", "5")[1].frameOffset, 0);
}

TEST(ChannelListTest, RefusesWhatMakesNoSense) {
    for (const auto* numbers : {"x", "1,2", "-1", "32", "1 1", "99999999999"}) {
        EXPECT_THROW(parseChannels(numbers, ""), std::invalid_argument) << numbers;
    }
    for (const auto* offsets : {"x", "26", "-26", "0 0"}) {
        EXPECT_THROW(parseChannels("1", offsets), std::invalid_argument) << offsets;
    }
}

TEST(ChannelListTest, HoldsChannelsBackSoThatNoneIsEarly) {
    EXPECT_THAT(delaysOf(parseChannels("0 1 2", "0 -2 3")), ElementsAre(2, 0, 5));
    EXPECT_THAT(delaysOf(parseChannels("0 1", "2 1")), ElementsAre(2, 1));
    EXPECT_THAT(delaysOf({}), IsEmpty());
}

}  // namespace tarn::peers::ingest_service
