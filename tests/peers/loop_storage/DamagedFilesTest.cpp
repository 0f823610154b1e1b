// What a crash, or somebody else, has left of a track's files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/peers/loop_storage/support/TestTrack.h"

namespace tarn::test {
namespace {

using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t ringSize = 100;
constexpr std::size_t frameSize = 15;
constexpr std::size_t slotsOffset = 4096;
constexpr std::size_t recordSize = 64;

std::string contentOf(int frame) {
    return std::string(frameSize, static_cast<char>('a' + frame % 26));
}

std::string lineOf(int frame) {
    return std::to_string(frame) + ":" + contentOf(frame);
}

struct DamagedFilesTest : testing::Test {
    DamagedFilesTest() { track.beWriter(); }

    void fill(int frames) {
        for (int i = 0; i < frames; ++i) {
            track.put(i, contentOf(i));
        }
    }
    void flipByte(const std::string& file, std::size_t offset) const {
        track.flipByte(file, offset);
    }
    /// Whatever has gone, nothing else than frames as they were written, in order.
    void expectNothingTorn() {
        int last = -1;
        for (const auto& line : track.frames()) {
            const int frame = std::stoi(line);
            EXPECT_GT(frame, last);
            EXPECT_EQ(line, lineOf(frame));
            last = frame;
        }
    }

    // Opened again for each byte that is damaged.
    TestTrack track{ringSize, Medium::Memory};
};

TEST_F(DamagedFilesTest, AfterAKillEverythingCommittedIsThere) {
    for (int frames = 0; frames < 20; ++frames) {
        TestTrack other(ringSize);
        other.beWriter();
        for (int i = 0; i < frames; ++i) {
            other.put(i, contentOf(i));
        }
        const auto before = other.frames();
        other.reopenAfterKill();
        EXPECT_EQ(other.frames(), before) << frames << " frames";
    }
}

TEST_F(DamagedFilesTest, AfterAKillWithinAFrameWhatItWentOverIsGoneAndTheRestIsThere) {
    fill(10);
    const auto frame = track->reserve(10, 40);
    track->write(frame, 0, std::string(25, '#'));
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(6), lineOf(7), lineOf(8), lineOf(9)));
    track.beWriter();
    track.put(10, contentOf(10));
    EXPECT_THAT(track.frames(),
                ElementsAre(lineOf(6), lineOf(7), lineOf(8), lineOf(9), lineOf(10)));
}

TEST_F(DamagedFilesTest, ATrackThatWasClosedIsNotMarkedAgainAsBeingWritten) {
    fill(5);
    track->close();
    track->checkpointIfNeeded(Track::Need::Urgent);
    track->checkpointIfNeeded(Track::Need::Committed);
    track.reopenAfterPowerCut();
    EXPECT_EQ(track.frames().size(), 5U);
}

TEST_F(DamagedFilesTest, AFlippedByteOfARecordCostsThatFrameOnly) {
    fill(5);
    for (std::size_t offset = 0; offset < recordSize; ++offset) {
        flipByte("index", slotsOffset + 2 * recordSize + offset);
        track.reopenAfterKill();
        EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(3), lineOf(4)))
            << "offset " << offset;
        flipByte("index", slotsOffset + 2 * recordSize + offset);
    }
    track.reopenAfterKill();
    EXPECT_EQ(track.frames().size(), 5U);
}

TEST_F(DamagedFilesTest, AFlippedByteAnywhereInTheHeadLosesNoFrameThatIsWhole) {
    fill(10);
    const auto before = track.frames();
    for (std::size_t offset = 0; offset < 2 * 512; ++offset) {
        flipByte("index", offset);
        track.reopenAfterKill();
        EXPECT_EQ(track.frames(), before) << "offset " << offset;
        flipByte("index", offset);
    }
    for (std::size_t offset = 1024; offset < slotsOffset; offset += 7) {
        flipByte("index", offset);
        track.reopenAfterKill();
        expectNothingTorn();
        EXPECT_GE(track.frames().size(), before.size() - 1) << "offset " << offset;
        flipByte("index", offset);
    }
}

TEST_F(DamagedFilesTest, WithADamagedLimitNothingTornIsGivenOut) {
    fill(10);
    const auto frame = track->reserve(10, frameSize);
    track->write(frame, 0, "####");
    flipByte("index", 1024);
    flipByte("index", 1536);
    track.reopenAfterKill();
    expectNothingTorn();
    EXPECT_FALSE(track.frames().empty());
}

TEST_F(DamagedFilesTest, AnIndexThatIsCutOpensWithWhatIsLeft) {
    fill(6);
    for (const std::size_t size : {slotsOffset + 3 * recordSize, slotsOffset + 3 * recordSize - 1,
                                   slotsOffset + 1, slotsOffset}) {
        std::filesystem::resize_file(track.file("index"), size);
        track.reopenAfterKill();
        expectNothingTorn();
        EXPECT_LE(track.frames().size(), 3U);
    }
    track.beWriter();
    track.put(100, "more");
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), testing::Contains("100:more"));
}

TEST_F(DamagedFilesTest, AnIndexWithoutADescriptionIsRefused) {
    for (const std::size_t size : {0U, 1U, 63U, 100U, 600U}) {
        TestTrack other(ringSize);
        std::filesystem::resize_file(other.file("index"), size < 64 ? size : 10);
        EXPECT_THROW(other.reopenAfterKill(), std::exception) << size;
    }
    flipByte("index", 8);
    flipByte("index", 512 + 8);
    EXPECT_THROW(track.reopenAfterKill(), std::exception);
}

TEST_F(DamagedFilesTest, ADataFileThatIsCutLosesTheFramesAtItsEnd) {
    fill(6);
    std::filesystem::resize_file(track.file("data.0"), 3 * frameSize + 1);
    track.reopenAfterKill();
    EXPECT_THAT(track.frames(), ElementsAre(lineOf(0), lineOf(1), lineOf(2)));
    EXPECT_EQ(std::filesystem::file_size(track.file("data.0")), ringSize);
    track.beWriter();
    track.put(50, std::string(ringSize, 'z'));
    EXPECT_EQ(track.frames().size(), 1U);
}

TEST_F(DamagedFilesTest, WithoutItsDataFileATrackIsRefused) {
    std::filesystem::remove(track.file("data.0"));
    EXPECT_THROW(track.reopenAfterKill(), std::exception);
}

TEST_F(DamagedFilesTest, DamagedPropertiesArePutAside) {
    track->setProperties({{"name", "value"}});
    flipByte("properties", 6);
    track.reopenAfterKill();
    EXPECT_THAT(track->describe().properties, IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(track.file("properties.damaged")));
    track->setProperties({{"name", "again"}});
    track.reopenAfterKill();
    EXPECT_EQ(track->describe().properties.at("name"), "again");
}

TEST_F(DamagedFilesTest, WhatAResizeLeftBehindIsRemoved) {
    std::ofstream(track.file("data.1")) << "half";
    std::ofstream(track.file("index.new")) << "half";
    track.reopenAfterKill();
    EXPECT_FALSE(std::filesystem::exists(track.file("data.1")));
    EXPECT_FALSE(std::filesystem::exists(track.file("index.new")));
}

}  // namespace
}  // namespace tarn::test
