#include "platform/utils/Printable.h"

#include <gtest/gtest.h>

namespace tarn::utils {

TEST(Printable, KeepsOrdinaryText) { EXPECT_EQ(printable("cam 1 \xc3\xa4"), "cam 1 \xc3\xa4"); }

TEST(Printable, EscapesControlCharacters) {
    EXPECT_EQ(printable(std::string_view("a\nb\tc\rd\x1b[0m\0e\x7f", 13)), "a\\nb\\tc\\rd\\x1b[0m\\x00e\\x7f");
}

TEST(Printable, CutsLongText) { EXPECT_EQ(printable(std::string(100000, 'x'), 5), "xxxxx..."); }

}  // namespace tarn::utils
