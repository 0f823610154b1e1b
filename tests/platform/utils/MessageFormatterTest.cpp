#include "platform/utils/MessageFormatter.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(MessageFormatterTest, PutsTheComponentNameBeforeTheText) {
    EXPECT_EQ(MessageFormatter("DeviceManager").formatMessage("text"), "DeviceManager > text");
}

TEST(MessageFormatterTest, AsksForTheHeaderEachTime) {
    struct Counting : IMessageFormatter {
        std::string messageHeader() const override { return std::to_string(++calls); }
        mutable int calls = 0;
    } formatter;
    EXPECT_EQ(formatter.formatMessage("a"), "1 > a");
    EXPECT_EQ(formatter.formatMessage("b"), "2 > b");
}

}  // namespace tarn::utils
