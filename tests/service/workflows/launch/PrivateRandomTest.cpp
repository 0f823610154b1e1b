#include "service/workflows/launch/PrivateRandom.h"

#include <gtest/gtest.h>

namespace tarn::service {

TEST(PrivateRandomTest, GivesTheSequenceOfTheUnseededGenerator) {
    std::srand(1);
    PrivateRandom random;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(random.next(), std::rand()) << i;
    }
}

TEST(PrivateRandomTest, IsNotDisturbedByOthersThatDraw) {
    PrivateRandom alone;
    PrivateRandom disturbed;
    for (int i = 0; i < 100; ++i) {
        std::srand(static_cast<unsigned>(i));
        ASSERT_EQ(alone.next(), disturbed.next());
        std::rand();
    }
}

}  // namespace tarn::service
