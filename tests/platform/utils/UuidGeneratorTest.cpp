#include "platform/utils/UuidGenerator.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <set>

namespace tarn::utils {

TEST(UuidGeneratorTest, GivesTheTextFormOfARandomUuid) {
    EXPECT_THAT(UuidGenerator::Generate(),
                testing::MatchesRegex(
                    "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(UuidGeneratorTest, NeverGivesTheSameTwice) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(seen.insert(UuidGenerator::Generate()).second);
    }
}

TEST(UuidGeneratorTest, DoesNotDrawFromTheProcessWideGenerator) {
    std::srand(1);
    const int first = std::rand();
    std::srand(1);
    UuidGenerator::Generate();
    EXPECT_EQ(std::rand(), first);
}

}  // namespace tarn::utils
