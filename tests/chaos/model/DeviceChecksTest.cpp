#include "tests/chaos/model/DeviceChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A host and a storage with one track, which everybody tells of as it is.
struct DeviceChecksTest : testing::Test {
    World world;

    DeviceChecksTest() {
        const Devices devices{.nodes = {"Host-x", "Storage-y"},
                              .tracks = {{3, {.size = 1000, .beginning = 10, .end = 20}}}};
        world.devices = devices;
        world.tree = devices;
        world.published = devices;
    }

    std::vector<std::string> problems() const {
        std::vector<std::string> found;
        checkDevices(world, found);
        return found;
    }
};

TEST_F(DeviceChecksTest, NothingIsWrongWithWhatIsTheSame) {
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DeviceChecksTest, ATreeHoldsEveryNodeAndNoGhost) {
    world.tree->nodes = {"Host-x", "Host-z"};
    world.published->nodes = {};
    EXPECT_THAT(problems(),
                ElementsAre("the tree lacks Storage-y", "the tree holds what is not there: Host-z",
                            "the tree of the gateway lacks Host-x",
                            "the tree of the gateway lacks Storage-y"));
}

TEST_F(DeviceChecksTest, ADeviceIsShownInErrorWhenItIsAndOnlyThen) {
    world.devices->inError = {"Host-x"};
    world.published->inError = {"Host-x", "Storage-y"};
    EXPECT_THAT(problems(),
                ElementsAre("the tree does not show in error: Host-x",
                            "the tree of the gateway shows in error what is well: Storage-y"));
}

TEST_F(DeviceChecksTest, ATreeHoldsEveryTrackAndNoGhost) {
    world.tree->tracks.clear();
    world.published->tracks[4] = {};
    EXPECT_THAT(problems(),
                ElementsAre("the tree lacks track 3",
                            "the tree of the gateway holds what is not there: track 4"));
}

TEST_F(DeviceChecksTest, ATrackIsShownAsItIs) {
    auto& track = world.tree->tracks[3];
    track.readers = 1;
    track.readerNames = {"w"};
    EXPECT_THAT(problems(),
                ElementsAre("the tree shows track 3 with 1000 bytes from 10 to 20, 1 readers w, 0 "
                            "writers ; it has 1000 bytes from 10 to 20, 0 readers , 0 writers "));
    track = world.devices->tracks[3];
    track.end = 19;
    EXPECT_EQ(problems().size(), 1U);
}

TEST_F(DeviceChecksTest, ATrackThatIsBeingWrittenHasMovedOnALittle) {
    auto& track = world.devices->tracks[3];
    track.writers = 1;
    track.writerNames = {"w"};
    world.tree->tracks[3] = track;
    world.published->tracks[3] = track;
    track.beginning += 5'000'000'000;
    track.end += 5'000'000'000;
    EXPECT_THAT(problems(), IsEmpty());
    track.end += 1;
    EXPECT_EQ(problems().size(), 2U);
}

TEST_F(DeviceChecksTest, WhoIsSilentIsNamed) {
    world.tree.reset();
    world.published.reset();
    EXPECT_THAT(problems(),
                ElementsAre("the tree was not told", "the tree of the gateway was not told"));
    world.devices.reset();
    EXPECT_THAT(problems(), ElementsAre("the devices do not answer"));
}

}  // namespace
}  // namespace tarn::chaos
