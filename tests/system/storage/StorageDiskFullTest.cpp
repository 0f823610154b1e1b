// A storage whose disk, a small file system of its own, has no room left.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/Eventually.h"
#include "tests/system/storage/LoopStorage.h"
#include "tests/system/storage/TrackWorker.h"

namespace tarn::test {

namespace {

using namespace proto::loop_storage;
using namespace storage_requests;
using testing::HasSubstr;

constexpr auto noSpace = "No space left on device";

class StorageDiskFullTest : public LoopStorageTest {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(tracksFolder);
        ASSERT_EQ(::mount("small", tracksFolder, "tmpfs", 0, "size=16m"), 0);
        LoopStorageTest::SetUp();
        startServiceWithStorage(Over::UnixSocket);
        track = createTrack(4 * megabyte);
        fill();
    }
    void TearDown() override {
        EXPECT_EQ(::umount2(tracksFolder, MNT_DETACH), 0);  // gone with the server
        LoopStorageTest::TearDown();
    }

    static std::string ballastPath() { return std::string(tracksFolder) + "/ballast"; }
    static void fill() {
        std::ofstream ballast(ballastPath(), std::ios::binary);
        const std::string block(4096, '.');
        while (ballast.write(block.data(), 4096).flush()) {
        }
    }
    static void free() { std::filesystem::remove(ballastPath()); }

    std::string endTimePoint() {
        const auto described =
            node(storageId(Over::UnixSocket) + "_track_" + std::to_string(track));
        return described ? statusOf(*described, "EndTimepoint") : "absent";
    }

    std::int64_t track = -1;
};

TEST_F(StorageDiskFullTest, GoesOnTakingWhatIsWrittenToItsTracks) {
    {
        TrackWriter writer(addressOf(Over::UnixSocket), track, "camera");
        for (std::int64_t i = 1; i <= 100; ++i) {
            writer.write(i, 100'000);  // more than twice round
        }
    }
    EXPECT_TRUE(eventually([&] { return endTimePoint() == "100"; }));
    storageServer().signal(SIGKILL);
    storageServer().waitForEnd(std::chrono::seconds(10));
    startStorage(Over::UnixSocket);
    EXPECT_TRUE(eventually([&] { return endTimePoint() == "100"; }, std::chrono::seconds(15)));
}

TEST_F(StorageDiskFullTest, RefusesWhatNeedsRoomAndLosesNothing) {
    const auto created = end(take(storage_requests::createTrack(megabyte)));
    EXPECT_FALSE(created.success());
    EXPECT_THAT(created.error_message(), HasSubstr("are wanted and 0 remain"));
    const auto resized = end(take(resizeTrack(track, 12 * megabyte)));
    EXPECT_FALSE(resized.success());
    EXPECT_THAT(resized.error_message(), HasSubstr("are wanted and 0 remain"));
    const auto set = ask(setProperties(track, {{"Name", "studio"}}));
    EXPECT_FALSE(set.success());
    EXPECT_THAT(set.error_message(), HasSubstr(noSpace));
    EXPECT_EQ(ask(properties(track)).GetExtension(GetTrackPropertiesReply::base).properties_size(),
              0);
    EXPECT_EQ(ask(trackSize(track)).GetExtension(GetTrackSizeReply::base).size(),
              static_cast<std::int64_t>(4 * megabyte));

    free();
    EXPECT_TRUE(ask(setProperties(track, {{"Name", "studio"}})).success());
    EXPECT_TRUE(end(take(resizeTrack(track, 6 * megabyte))).success());
    EXPECT_GT(createTrack(megabyte), track);
}

TEST_F(StorageDiskFullTest, CreatesExactlyWhatRemainsAndNotAByteMore) {
    const auto remaining = [&] {
        return static_cast<std::uint64_t>(
            ask(remainingSpace()).GetExtension(GetRemainingSpaceReply::base).remaining_space());
    };
    EXPECT_EQ(remaining(), 0U);
    free();
    const auto before = remaining();
    EXPECT_GT(before, 10 * megabyte);
    const auto refused = end(take(storage_requests::createTrack(before + 1)));
    EXPECT_FALSE(refused.success());
    EXPECT_THAT(refused.error_message(),
                HasSubstr("are wanted and " + std::to_string(before) + " remain"));
    const auto created = createTrack(before);
    EXPECT_EQ(remaining(), 0U);
    EXPECT_TRUE(end(take(destroyTrack(created))).success());
    EXPECT_LE(remaining(), before);
    EXPECT_GE(remaining() + 8192, before) << "but for the file that keeps the track's number";
}

TEST_F(StorageDiskFullTest, GivesRoomBackWhenATrackIsDestroyed) {
    EXPECT_TRUE(ask(clearTrack(track)).success());
    const auto destroyed = end(take(destroyTrack(track)));
    EXPECT_TRUE(destroyed.success()) << destroyed.error_message();
    EXPECT_GT(createTrack(megabyte), track) << "the number of one that is gone";
}

}  // namespace

}  // namespace tarn::test
