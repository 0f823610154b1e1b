// The small files beside tracks' frames say of which version they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "peers/loop_storage/operations/Catalogue.h"
#include "peers/loop_storage/ring/index/VersionedFile.h"
#include "platform/storage_wire/Checksum.h"
#include "tests/peers/loop_storage/support/TestTrack.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {
namespace {

using peers::loop_storage::BootId;
using peers::loop_storage::Catalogue;
using peers::loop_storage::UnknownVersion;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

struct PropertiesVersionTest : testing::Test {
    TestTrack track{100};
};

TEST_F(PropertiesVersionTest, WhatIsWrittenSaysItsVersion) {
    track->setProperties({{"a", "1"}});
    EXPECT_THAT(readFile(track.file("properties")), StartsWith("properties 2 "));
    track.reopenAfterKill();
    EXPECT_THAT(track->describe().properties, ElementsAre(Pair("a", "1")));
}

TEST_F(PropertiesVersionTest, TheFirstVersionIsRead) {
    const std::string message(
        "\x2a\x06\x0a\x01"
        "a"
        "\x12\x01"
        "1",
        8);
    const auto sum = storage_wire::checksum(message.data(), message.size());
    std::string file(sizeof sum, '\0');
    std::memcpy(file.data(), &sum, sizeof sum);
    track.write("properties", file + message);
    track.reopenAfterKill();
    EXPECT_THAT(track->describe().properties, ElementsAre(Pair("a", "1")));
    track->setProperties({{"b", "2"}});
    track.reopenAfterKill();
    EXPECT_THAT(track->describe().properties, ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST_F(PropertiesVersionTest, ALaterVersionIsLeftAloneAndTheTrackClosed) {
    const std::string file = "properties 3 something else";
    track.write("properties", file);
    try {
        track.reopenAfterKill();
        ADD_FAILURE() << "it was opened";
    } catch (const UnknownVersion& refusal) {
        EXPECT_THAT(refusal.what(), HasSubstr("properties is of version 3"));
    }
    EXPECT_EQ(readFile(track.file("properties")), file);
}

struct LastIdTest : testing::Test {
    LastIdTest() { std::filesystem::create_directory(directory); }
    std::int64_t nextId() {
        Catalogue catalogue(directory, 1000, BootId{'b'});
        const auto id = catalogue.create(10, [] {});
        catalogue.destroy(id);
        return id;
    }
    const LogCapture log;
    const TemporaryFolder folder;
    const std::filesystem::path directory = folder.path() / "tracks";
};

TEST_F(LastIdTest, OfTheFirstVersionIsRead) {
    folder.write("tracks/last-id", "7");
    EXPECT_EQ(nextId(), 8);
    EXPECT_THAT(readFile(directory / "last-id"), StartsWith("last-id 2 "));
    EXPECT_EQ(nextId(), 9);
}

TEST_F(LastIdTest, ThatIsDamagedIsWarnedOf) {
    folder.write("tracks/last-id", "last-id 2 00000000\n7");
    EXPECT_EQ(nextId(), 0);
    EXPECT_TRUE(log.contains("ids of tracks that are gone may come again"));
}

TEST_F(LastIdTest, OfALaterVersionIsRefused) {
    folder.write("tracks/last-id", "last-id 3 something");
    EXPECT_THROW(nextId(), UnknownVersion);
    EXPECT_EQ(readFile(directory / "last-id"), "last-id 3 something");
}

}  // namespace
}  // namespace tarn::test
