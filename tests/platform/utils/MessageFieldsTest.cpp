#include "platform/utils/MessageFields.h"

#include <gtest/gtest.h>

#include <string>

namespace tarn::utils {

using namespace std::string_literals;

namespace {

const auto integer = "\x08\x96\x01"s;        // field 1 is 150
const auto text = "\x12\x03"s + "abc";       // field 2
const auto fixed = "\x1d\x01\x02\x03\x04"s;  // field 3
const auto group = "\x23\x08\x01\x24"s;      // field 4, with a field 1
const auto cutText = "\x12\x04"s + "abc";    // one byte is missing
const auto endlessNumber = "\x08"s + std::string(11, '\xff');
const auto longerThanMemory = "\x12\xff\xff\xff\xff\xff\x01"s;

}  // namespace

TEST(MessageFieldsTest, ComeOneAfterTheOther) {
    const auto message = integer + text;
    MessageFields fields(message);
    ASSERT_TRUE(fields.next());
    EXPECT_TRUE(fields.isInteger(1));
    EXPECT_EQ(fields.integer(), 150U);
    EXPECT_EQ(fields.whole(), integer);
    ASSERT_TRUE(fields.next());
    EXPECT_TRUE(fields.isBytes(2));
    EXPECT_EQ(fields.bytes(), "abc");
    EXPECT_EQ(fields.whole(), text);
    EXPECT_FALSE(fields.next());
    EXPECT_TRUE(fields.isAtEnd());
}

TEST(MessageFieldsTest, OfOtherKindsArePassedOver) {
    const auto message = fixed + group + text;
    MessageFields fields(message);
    ASSERT_TRUE(fields.next());
    EXPECT_FALSE(fields.isBytes() || fields.isInteger());
    ASSERT_TRUE(fields.next());
    EXPECT_EQ(fields.whole(), group);
    ASSERT_TRUE(fields.next());
    EXPECT_EQ(fields.bytes(), "abc");
}

TEST(MessageFieldsTest, EndAtWhatIsNoField) {
    for (const auto& broken : {cutText, endlessNumber, longerThanMemory, "\x24"s, "\x00"s}) {
        const auto message = integer + broken;
        MessageFields fields(message);
        EXPECT_TRUE(fields.next());
        EXPECT_FALSE(fields.next());
        EXPECT_FALSE(fields.isAtEnd());
    }
}

}  // namespace tarn::utils
