// What a storage server had acknowledged is there after the machine was started again, also if the
// server was killed before.
#include <signal.h>
#include <sys/mount.h>

#include <fstream>
#include <optional>
#include <string>

#include "tests/support/Eventually.h"
#include "tests/system/storage/LoopStorage.h"
#include "tests/system/storage/TrackWorker.h"

namespace tarn::test {

namespace {

using service::devices::connectStorage;
using service::devices::StorageError;

constexpr auto bootId = "/proc/sys/kernel/random/boot_id";
constexpr int frames = 47;

/// By another boot's number a server knows that the machine has been started again.
class StorageRebootTest : public LoopStorageTest {
  protected:
    void SetUp() override {
        LoopStorageTest::SetUp();
        setBoot('1');
        ASSERT_EQ(::mount(boot.c_str(), bootId, nullptr, MS_BIND, nullptr), 0);
        startStorage(Over::UnixSocket);
        track = tarn_storage_track_create(&connection(), 4 * megabyte, 0, nullptr, error.get());
        ASSERT_GE(track, 0) << error.message();
    }
    void TearDown() override {
        EXPECT_EQ(::umount2(bootId, MNT_DETACH), 0);
        LoopStorageTest::TearDown();
    }

    void setBoot(char digit) const {
        std::ofstream(boot) << std::string(8, digit) << "-0000-0000-0000-000000000000\n";
    }
    tarn_storage_connection& connection() {
        held = connectStorage(addressOf(Over::UnixSocket), error);
        return *held;
    }
    /// The one before may still be going.
    void attach(std::optional<TrackWriter>& writer) {
        ASSERT_TRUE(eventually([&] {
            try {
                writer.emplace(addressOf(Over::UnixSocket), track, "camera");
                return true;
            } catch (const std::exception&) {
                return false;
            }
        }));
    }
    static void write(TrackWriter& writer, int first, int last) {
        for (int i = first; i <= last; ++i) {
            writer.write(i, 1000);
        }
    }
    /// Twenty frames are on the disk by then, for certain.
    void writeAndBeKilled() {
        std::optional<TrackWriter> writer;
        attach(writer);
        write(*writer, 1, 20);
        writer.reset();
        attach(writer);
        write(*writer, 21, frames);
        endStorage(SIGKILL);
    }
    void endStorage(int signal) {
        held.reset();
        storageServer().signal(signal);
        storageServer().waitForEnd(std::chrono::seconds(20));
    }
    void expectFrames(std::int64_t first, std::int64_t last) {
        EXPECT_EQ(tarn_storage_track_get_beginning(&connection(), track, error.get()), first);
        EXPECT_EQ(tarn_storage_track_get_end(&connection(), track, error.get()), last);
    }
    void rebootInOrder() {
        endStorage(SIGTERM);
        setBoot('2');
        startStorage(Over::UnixSocket);
    }

    const std::string boot = "/tmp/boot_id";
    StorageError error;
    service::devices::StorageConnection held;
    std::int64_t track = -1;
};

TEST_F(StorageRebootTest, AfterAKillAndARestartWithoutAWriterKeepsEveryFrame) {
    writeAndBeKilled();
    startStorage(Over::UnixSocket);
    expectFrames(1, frames);
    rebootInOrder();
    expectFrames(1, frames);
}

TEST_F(StorageRebootTest, StraightAfterAKillKeepsEveryFrame) {
    writeAndBeKilled();
    setBoot('2');
    startStorage(Over::UnixSocket);
    expectFrames(1, frames);
}

TEST_F(StorageRebootTest, AfterAKillDoesNotUndoAClearing) {
    writeAndBeKilled();
    startStorage(Over::UnixSocket);
    ASSERT_EQ(tarn_storage_track_clear(&connection(), track, error.get()), 0) << error.message();
    rebootInOrder();
    expectFrames(-1, -1);
}

}  // namespace

}  // namespace tarn::test
