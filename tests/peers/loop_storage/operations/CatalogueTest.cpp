#include "peers/loop_storage/operations/Catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "peers/loop_storage/StorageError.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers::loop_storage {
namespace {

using testing::ElementsAre;

const std::function<void()> never = [] {};

struct CatalogueTest : testing::Test {
    void open(std::optional<std::uint64_t> capacity = 1000) {
        catalogue.reset();
        catalogue = std::make_unique<Catalogue>(directory, capacity, BootId{'b'});
    }
    std::int64_t create(std::uint64_t size) { return catalogue->create(size, never); }

    const test::LogCapture log;
    const test::TemporaryFolder folder;
    const std::filesystem::path directory = folder.path() / "tracks";
    std::unique_ptr<Catalogue> catalogue;
};

TEST_F(CatalogueTest, IdsAscendFromZero) {
    open();
    EXPECT_EQ(create(10), 0);
    EXPECT_EQ(create(10), 1);
    EXPECT_THAT(catalogue->ids(), ElementsAre(0, 1));
}

TEST_F(CatalogueTest, AnIdNeverComesAgain) {
    open();
    create(10);
    create(10);
    catalogue->destroy(1);
    EXPECT_EQ(create(10), 2);
    catalogue->destroy(2);
    open();
    EXPECT_EQ(create(10), 3);
}

TEST_F(CatalogueTest, TracksAreThereAgainAfterARestart) {
    open();
    create(10);
    catalogue->get(create(20))->setProperties({{"a", "b"}});
    open();
    EXPECT_THAT(catalogue->ids(), ElementsAre(0, 1));
    EXPECT_EQ(catalogue->get(1)->size(), 20U);
    EXPECT_EQ(catalogue->get(1)->describe().properties.at("a"), "b");
}

TEST_F(CatalogueTest, TheCapacityBoundsWhatTracksTake) {
    open(100);
    const auto track = create(60);
    EXPECT_EQ(catalogue->remainingSpace(), 40);
    EXPECT_THROW(create(41), StorageError);
    EXPECT_THROW(catalogue->resize(track, 101, never), StorageError);
    EXPECT_EQ(catalogue->resize(track, 100, never), 100U);
    EXPECT_EQ(catalogue->remainingSpace(), 0);
    catalogue->destroy(track);
    EXPECT_EQ(catalogue->remainingSpace(), 100);
}

TEST_F(CatalogueTest, WithoutACapacityTheDiskBoundsThem) {
    open(std::nullopt);
    EXPECT_GT(catalogue->remainingSpace(), 0);
    EXPECT_THROW(create(1ULL << 49U), StorageError);
}

TEST_F(CatalogueTest, SizesThatAreNoneAreRefused) {
    open();
    EXPECT_THROW(create(0), StorageError);
    EXPECT_THROW(create(~0ULL), StorageError);
}

TEST_F(CatalogueTest, ATrackInUseIsNotDestroyed) {
    open();
    const auto track = catalogue->get(create(10));
    track->attach(Track::WorkerKind::Reader);
    EXPECT_THROW(catalogue->destroy(0), StorageError);
    track->detach(Track::WorkerKind::Reader);
    catalogue->destroy(0);
    EXPECT_FALSE(std::filesystem::exists(directory / "track-0"));
    EXPECT_THROW(track->attach(Track::WorkerKind::Reader), StorageError);
}

TEST_F(CatalogueTest, ASecondUserOfTheDirectoryIsRefused) {
    open();
    try {
        const Catalogue other(directory, 1000, BootId{'b'});
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "Another server uses directory " + directory.string());
    }
}

TEST_F(CatalogueTest, WhatACrashLeftHalfMadeOrHalfRemovedIsRemoved) {
    open();
    create(10);
    std::filesystem::create_directories(directory / "making-5");
    std::filesystem::create_directories(directory / "removed-8");
    open();
    EXPECT_FALSE(std::filesystem::exists(directory / "making-5"));
    EXPECT_FALSE(std::filesystem::exists(directory / "removed-8"));
    open();
    EXPECT_EQ(create(10), 9) << "8 was a track";
}

TEST_F(CatalogueTest, StrangeNamesInTheDirectoryAreLeftAlone) {
    open();
    for (const auto* const name :
         {"track-", "track-x", "track-01", "track--1", "notes", "track-99999999999999999999"}) {
        std::filesystem::create_directories(directory / name);
    }
    open();
    EXPECT_THAT(catalogue->ids(), ElementsAre());
    EXPECT_TRUE(std::filesystem::exists(directory / "track-01"));
}

TEST_F(CatalogueTest, ADirectoryWithoutAParentIsAClearError) {
    try {
        const Catalogue other("/nowhere/at/all", 1000, BootId{'b'});
        FAIL();
    } catch (const std::exception& error) {
        EXPECT_THAT(error.what(), testing::StartsWith("Cannot make directory /nowhere/at/all"));
    }
}

}  // namespace
}  // namespace tarn::peers::loop_storage
