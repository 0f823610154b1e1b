#include "peers/storage_elements/Location.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "peers/storage_elements/TrackPlayer.h"

namespace tarn::peers::storage_elements {
namespace {

TEST(LocationTest, IsAPathOrAHostAndAPort) {
    EXPECT_EQ(parseLocation("unix:/run/x").address, "/run/x");
    EXPECT_EQ(parseLocation("unix:/run/x").port, 0);
    EXPECT_EQ(parseLocation("tcp:localhost:7000").address, "localhost");
    EXPECT_EQ(parseLocation("tcp:localhost:7000").port, 7000);
    EXPECT_EQ(parseLocation("tcp:[::1]:7000").address, "::1");
}

TEST(LocationTest, AnythingElseIsRefused) {
    for (const auto* const text : {"", "unix:", "/run/x", "tcp:", "tcp:host", "tcp::7000",
                                   "tcp:host:", "tcp:host:0", "tcp:host:70000", "tcp:host:7x"}) {
        EXPECT_THROW(parseLocation(text), std::invalid_argument) << text;
    }
}

TEST(PlayStartTest, IsAWordOrATimePoint) {
    EXPECT_EQ(parseStart("oldest").kind, TARN_STORAGE_START_OLDEST);
    EXPECT_EQ(parseStart("live").kind, TARN_STORAGE_START_LIVE);
    EXPECT_EQ(parseStart("-12").kind, TARN_STORAGE_START_TIME_POINT);
    EXPECT_EQ(parseStart("-12").timePoint, -12);
    for (const auto* const text : {"", "newest", "12x", "99999999999999999999"}) {
        EXPECT_THROW(parseStart(text), std::invalid_argument) << text;
    }
}

}  // namespace
}  // namespace tarn::peers::storage_elements
