// Clients of the loop storage on a machine that vanishes: nothing of it arrives any more, and
// nobody is told.
#include <gmock/gmock.h>

#include <memory>
#include <thread>

#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"
#include "tests/system/storage/FarMachine.h"
#include "tests/system/storage/LoopStorage.h"
#include "tests/system/storage/TrackWorker.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;
using namespace storage_requests;
using service::devices::StorageAddress;

// Two seconds are what the system can do; what is on its way may be noticed a little later.
constexpr auto patience = "2";
constexpr auto bound = 10s;

class LostStorageClientTest : public LoopStorageTest {
  protected:
    void SetUp() override {
        LoopStorageTest::SetUp();
        startStorage({"--unix", socketPath, "--client-timeout", patience, "--tcp",
                      FarMachine::addressHere + (":" + std::to_string(storagePort))},
                     StorageAddress{socketPath});
        useStorage(Over::UnixSocket);
        startService();
        ASSERT_TRUE(eventually([this] { return node(storageId(Over::UnixSocket)).has_value(); }));
        track = createTrack(megabyte);
    }

    /// From the far machine.
    template <typename Worker>
    std::unique_ptr<Worker> attachFromThere(const std::string& name) {
        std::unique_ptr<Worker> worker;
        far.run([&] {
            worker = std::make_unique<Worker>(StorageAddress{FarMachine::addressHere, storagePort},
                                              track, name);
        });
        return worker;
    }
    bool shows(const std::string& status, const std::string& value,
               std::chrono::milliseconds within = 15s) {
        const auto id = storageId(Over::UnixSocket) + "_track_" + std::to_string(track);
        return eventually(
            [&] {
                const auto found = node(id);
                return found && statusOf(*found, status) == value;
            },
            within);
    }

    const FarMachine far;
    std::int64_t track = -1;
};

TEST_F(LostStorageClientTest, ThatWroteLeavesTheTrackToTheNextWriter) {
    const auto lost = attachFromThere<TrackWriter>("lost");
    lost->write(1, 1000);
    ASSERT_TRUE(shows("WritersList", "lost"));
    far.pullTheCable();
    EXPECT_TRUE(shows("WritersList", "", bound));
    ASSERT_TRUE(eventually([&] {
        try {
            TrackWriter(addressOf(Over::UnixSocket), track, "next").write(2, 1000);
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }));
}

// The frame that it asked for is sent to nobody; all of it fits into what the system keeps.
TEST_F(LostStorageClientTest, ThatIsSentSomethingIsDetached) {
    const auto lost = attachFromThere<TrackReader>("lost");
    EXPECT_FALSE(lost->read(0ms));
    ASSERT_TRUE(shows("ReadersList", "lost"));
    far.pullTheCable();
    TrackWriter(addressOf(Over::UnixSocket), track, "next").write(1, 1000);
    EXPECT_TRUE(shows("ReadersList", "", bound));
}

TEST_F(LostStorageClientTest, NoticesThatTheServerIsLost) {
    const auto reader = attachFromThere<TrackReader>("follower");
    EXPECT_FALSE(reader->read(0ms));
    far.pullTheCable();
    const MachineTime time;
    EXPECT_THROW(
        while (time.elapsed() < 30s) { reader->read(1s); }, std::runtime_error);
    EXPECT_LT(time.elapsed(), 15s) << "twice the connection's five seconds";
}

}  // namespace

}  // namespace tarn::test
