#include "peers/loop_storage/operations/Workers.h"

#include <gtest/gtest.h>

namespace tarn::peers::loop_storage {
namespace {

TEST(WorkersTest, IdsAreNeverGivenTwice) {
    Workers workers;
    const auto first = workers.add({});
    workers.remove(first);
    EXPECT_NE(workers.add({}), first);
    EXPECT_EQ(workers.all().size(), 1U);
}

TEST(WorkersTest, ANameOfTwentyBytesStays) {
    EXPECT_EQ(workerName("12345678901234567890"), "12345678901234567890");
}

TEST(WorkersTest, ALongerNameIsCutButNeverInsideACharacter) {
    EXPECT_EQ(workerName(std::string(100'000, 'x')), std::string(20, 'x'));
    EXPECT_EQ(workerName("1234567890123456789\xc3\xa4"), "1234567890123456789");
}

TEST(WorkersTest, ControlCharactersAreReplaced) {
    EXPECT_EQ(workerName("a\nb\x7f"), "a?b?");
}

}  // namespace
}  // namespace tarn::peers::loop_storage
