// What a server that was killed has renamed is brought to the disk by the next one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

#include "peers/loop_storage/operations/Catalogue.h"
#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {
namespace {

using peers::loop_storage::BootId;
using peers::loop_storage::Catalogue;
using peers::loop_storage::Track;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Operation = FaultyDisk::Operation;

struct FoundFoldersTest : testing::Test {
    FoundFoldersTest() {
        open();
        catalogue->create(10, [] {});
        catalogue->create(10, [] {});
    }
    void open() {
        catalogue.reset();
        catalogue = std::make_unique<Catalogue>(directory, 1000, BootId{'b'});
    }
    std::size_t syncsOfTrack(int id) const {
        return disk.done(Operation::SyncFolder, "/tracks/track-" + std::to_string(id));
    }
    std::size_t syncsOfDirectory() const {
        return disk.done(Operation::SyncFolder, "/tracks") -
               disk.done(Operation::SyncFolder, "/tracks/");
    }

    const LogCapture log;
    FaultyDisk disk;
    const TemporaryFolder folder;
    const std::filesystem::path directory = folder.path() / "tracks";
    std::unique_ptr<Catalogue> catalogue;
};

TEST_F(FoundFoldersTest, AreOnTheDiskBeforeAnybodyIsServed) {
    const auto ofDirectory = syncsOfDirectory();
    const auto ofFirst = syncsOfTrack(0);
    const auto ofSecond = syncsOfTrack(1);
    open();
    EXPECT_GT(syncsOfDirectory(), ofDirectory);
    EXPECT_GT(syncsOfTrack(0), ofFirst);
    EXPECT_GT(syncsOfTrack(1), ofSecond);
}

TEST_F(FoundFoldersTest, OneThatCannotBeBroughtThereFailsItsTrackOnly) {
    disk.fail(Operation::SyncFolder, "/tracks/track-0", EIO);
    open();
    disk.mend();
    EXPECT_THAT(catalogue->ids(), ElementsAre(0, 1));
    EXPECT_THAT(catalogue->get(0)->describe().failure, HasSubstr("Input/output error"));
    EXPECT_NO_THROW(catalogue->get(0)->attach(Track::WorkerKind::Reader));
    EXPECT_THAT(catalogue->get(1)->describe().failure, IsEmpty());
}

TEST_F(FoundFoldersTest, WithoutThatOfTheDirectoryNobodyIsServed) {
    disk.fail(Operation::SyncFolder, "/tracks", EIO);
    EXPECT_THROW(open(), std::system_error);
}

}  // namespace
}  // namespace tarn::test
