// The machine stops while a checkpoint is brought to the disk, which has taken its record and not
// all of those that it speaks of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t sectorSize = 512;  // a disk writes all of one or nothing
constexpr std::size_t firstSector = 8;   // of the frames' records
constexpr int recordsInASector = 8;
constexpr int frames = 12;

class HalfCheckpointTest : public testing::Test {
  protected:
    HalfCheckpointTest() {
        track.beWriter();
        put(0, 1);
        track->checkpoint();
        indexBefore = readFile(track.file("index"));
        put(2, frames - 1);
    }

    void put(int first, int last) {
        for (int i = first; i <= last; ++i) {
            track.put(i, "f" + std::to_string(i));
        }
    }

    void stopWithoutSector(std::size_t sector) {
        auto index = readFile(track.file("index"));
        const auto begin = (firstSector + sector) * sectorSize;
        index.replace(begin, sectorSize, indexBefore.substr(begin, sectorSize));
        track.write("index", index);
        track.reopenAfterPowerCut();
    }

    /// The sequence numbers at which a reader from the oldest frame on is given none.
    std::vector<std::uint64_t> holes() {
        std::vector<std::uint64_t> list;
        track->attach(Track::WorkerKind::Reader);
        auto sequence = track->begin(Track::Origin::Oldest, 0);
        std::vector<char> bytes;
        for (auto reading = track->read(sequence, bytes);
             reading.result != Track::ReadResult::NoneYet; reading = track->read(sequence, bytes)) {
            if (reading.result != Track::ReadResult::Frame) {
                list.push_back(sequence);
            }
            sequence = reading.next;
        }
        track->detach(Track::WorkerKind::Reader);
        return list;
    }

    TestTrack track{1U << 20U};
    std::string indexBefore;
};

TEST_F(HalfCheckpointTest, NoFrameIsThereWithoutThoseBeforeIt) {
    track->checkpoint();
    stopWithoutSector(0);
    EXPECT_THAT(track.frames(), ElementsAre("0:f0", "1:f1"));
}

TEST_F(HalfCheckpointTest, WhatIsWrittenNextFollowsOnWhatIsThere) {
    track->checkpoint();
    stopWithoutSector(1);
    EXPECT_EQ(track.frames().size(), static_cast<std::size_t>(recordsInASector));
    track.beWriter();
    put(frames, frames);
    EXPECT_THAT(holes(), IsEmpty());
    track.reopenAfterPowerCut();
    EXPECT_THAT(holes(), IsEmpty());
    EXPECT_EQ(track.frames().size(), static_cast<std::size_t>(recordsInASector) + 1);
}

TEST_F(HalfCheckpointTest, NorAfterAnOrderlyEndThatWasNotOver) {
    track->close();
    stopWithoutSector(0);
    EXPECT_THAT(track.frames(), ElementsAre("0:f0", "1:f1"));
}

TEST_F(HalfCheckpointTest, ADamagedRecordOfOneThatWasOverCostsItsFrame) {
    track->checkpoint();
    track.flipByte("index", firstSector * sectorSize + 3 * sectorSize / recordsInASector + 20);
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames().size(), static_cast<std::size_t>(frames) - 1);
    EXPECT_THAT(holes(), ElementsAre(3U));
}

}  // namespace
}  // namespace tarn::test
