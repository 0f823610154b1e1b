// Tracks whose files are not what they should be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/operations/Catalogue.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::loop_storage {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::function<void()> never = [] {};

/// Three tracks, of which the one in the middle suffers.
struct UnopenedTracksTest : testing::Test {
    UnopenedTracksTest() {
        open();
        for (const std::uint64_t size : {10, 20, 30}) {
            catalogue->create(size, never);
        }
    }
    void open() {
        catalogue.reset();
        catalogue = std::make_unique<Catalogue>(directory, 1000, BootId{'b'});
    }
    std::filesystem::path file(const std::string& name) const {
        return directory / "track-1" / name;
    }
    void flipByte(const std::string& name, int offset) const {
        std::fstream stream(file(name), std::ios::in | std::ios::out | std::ios::binary);
        stream.seekg(offset);
        const auto byte = static_cast<char>(stream.get() ^ 0x5a);
        stream.seekp(offset);
        stream.put(byte);
    }

    /// It is there, says why it cannot be used, and goes when it is destroyed; ids go on after it.
    void expectUnusable(const std::string& reason) {
        open();
        EXPECT_THAT(catalogue->ids(), ElementsAre(0, 1, 2));
        ASSERT_TRUE(catalogue->findUnopened(1));
        EXPECT_THAT(catalogue->findUnopened(1)->reason, HasSubstr(reason));
        EXPECT_TRUE(log.contains("Track 1 cannot be opened: "));
        EXPECT_THAT(refusal([&] { catalogue->get(1); }), HasSubstr(reason));
        EXPECT_THAT(refusal([&] { catalogue->resize(1, 40, never); }), HasSubstr(reason));
        EXPECT_EQ(catalogue->all().size(), 2U);
        catalogue->destroy(1);
        EXPECT_FALSE(catalogue->findUnopened(1));
        EXPECT_THAT(catalogue->ids(), ElementsAre(0, 2));
        open();
        EXPECT_THAT(catalogue->ids(), ElementsAre(0, 2));
        EXPECT_FALSE(std::filesystem::exists(directory / "track-1"));
    }
    template <typename Work>
    std::string refusal(Work work) {
        try {
            work();
        } catch (const StorageError& error) {
            EXPECT_EQ(error.type(), TARN_STORAGE_ERROR_SERVER);
            EXPECT_THAT(error.what(), testing::StartsWith("Track 1 cannot be opened: "));
            return error.what();
        }
        return "none";
    }

    const test::LogCapture log;
    const test::TemporaryFolder folder;
    const std::filesystem::path directory = folder.path() / "tracks";
    std::unique_ptr<Catalogue> catalogue;
};

TEST_F(UnopenedTracksTest, ADamagedIndexStaysListedWithTheReason) {
    flipByte("index", 8);
    flipByte("index", 512 + 8);
    expectUnusable("index");
}

TEST_F(UnopenedTracksTest, AnotherVersionOfTheIndexStaysListedWithTheReason) {
    std::ofstream(file("index")) << "rubbish";
    expectUnusable("index");
}

TEST_F(UnopenedTracksTest, MissingDataStaysListedWithTheReason) {
    std::filesystem::remove(file("data.0"));
    expectUnusable("data.0: No such file or directory");
}

TEST_F(UnopenedTracksTest, AMissingIndexStaysListedWithTheReason) {
    std::filesystem::remove(file("index"));
    expectUnusable("index: No such file or directory");
}

TEST_F(UnopenedTracksTest, AnEmptyFolderStaysListedWithTheReason) {
    std::filesystem::remove_all(directory / "track-1");
    std::filesystem::create_directory(directory / "track-1");
    expectUnusable("index: No such file or directory");
}

TEST_F(UnopenedTracksTest, AnIndexOfAnotherTrackStaysListedWithTheReason) {
    std::filesystem::copy_file(directory / "track-2" / "index", file("index"),
                               std::filesystem::copy_options::overwrite_existing);
    expectUnusable("is of track 2");
}

TEST_F(UnopenedTracksTest, AFileThatCannotBeReadStaysListedWithTheReason) {
    for (const auto* const name : {"index", "properties"}) {
        std::filesystem::remove(file(name));
        std::filesystem::create_directory(file(name));  // reading it fails
    }
    expectUnusable("Is a directory");
}

TEST_F(UnopenedTracksTest, ALinkToItselfStaysListedWithTheReason) {
    std::filesystem::remove_all(directory / "track-1");
    std::filesystem::create_symlink("track-1", directory / "track-1");
    expectUnusable("Too many levels of symbolic links");
}

TEST_F(UnopenedTracksTest, WhatItTakesIsNotFree) {
    std::ofstream(file("index")) << "rubbish";
    open();
    EXPECT_EQ(catalogue->findUnopened(1)->size, 20U);
    EXPECT_EQ(catalogue->remainingSpace(), 1000 - 60);
    catalogue->destroy(1);
    EXPECT_EQ(catalogue->remainingSpace(), 1000 - 40);
}

TEST_F(UnopenedTracksTest, TheIdOfOneDoesNotComeAgain) {
    std::filesystem::remove(directory / "track-2" / "index");
    open();
    EXPECT_EQ(catalogue->create(5, never), 3);
    catalogue->destroy(3);
    catalogue->destroy(2);
    open();
    EXPECT_EQ(catalogue->create(5, never), 4);
}

TEST_F(UnopenedTracksTest, AnIdThatCannotBeReadKeepsNoTrackFromOpening) {
    catalogue->destroy(2);
    for (const auto* const content : {"", "x", "999999999999999999999999"}) {
        std::ofstream(directory / "last-id") << content;
        open();
        EXPECT_EQ(catalogue->all().size(), 2U) << content;
        EXPECT_TRUE(log.contains("ids of tracks that are gone may come again"));
    }
    std::filesystem::remove(directory / "last-id");
    std::filesystem::create_directory(directory / "last-id");
    open();
    EXPECT_EQ(catalogue->all().size(), 2U);
}

TEST_F(UnopenedTracksTest, WhatCannotBeRemovedKeepsNoTrackFromOpening) {
    const auto making = directory / "making-7";
    const auto place = making / "place";
    std::filesystem::create_directories(place);
    if (::mount(making.c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "needs the right to mount: nothing else keeps a folder from being removed";
    }
    open();
    EXPECT_EQ(catalogue->all().size(), 3U);
    EXPECT_TRUE(log.contains("Cannot remove what was left in "));
    EXPECT_EQ(catalogue->create(5, never), 8) << "there is no place for 7";
    ::umount(place.c_str());
}

}  // namespace
}  // namespace tarn::peers::loop_storage
