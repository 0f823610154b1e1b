#include "tests/chaos/model/CaptureBook.h"

#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

TEST(CaptureBookTest, WhatRanStaysWhatRuns) {
    CaptureBook book("576i25");
    EXPECT_EQ(book.sawRunning("576i25"), "");
    EXPECT_EQ(book.sawRunning("576i25"), "");
    EXPECT_EQ(book.sawRunning("720p25"), "captured is 720p25 in the place of 576i25");
}

TEST(CaptureBookTest, AnOrderOfWhichNothingWasSeenLeavesEither) {
    for (const auto* seen : {"576i25", "720p25"}) {
        CaptureBook book("576i25");
        book.ordered("720p25");
        EXPECT_EQ(book.sawRunning(seen), "");
        EXPECT_NE(book.sawRunning("488i2997"), "");
    }
}

TEST(CaptureBookTest, WhatWasSeenSettlesIt) {
    CaptureBook book("576i25");
    book.ordered("720p25");
    EXPECT_EQ(book.sawRunning("720p25"), "");
    EXPECT_EQ(book.sawRunning("576i25"), "captured is 576i25 in the place of 720p25");
}

TEST(CaptureBookTest, SeveralOrdersLeaveAnyOfThem) {
    CaptureBook book("576i25");
    book.ordered("720p25");
    book.ordered("488i2997");
    EXPECT_EQ(book.sawRunning("720p25"), "");
}

}  // namespace
}  // namespace tarn::chaos
