// An operator ends what a worker does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "tests/peers/loop_storage/support/StalledClient.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/peers/loop_storage/support/WireBytes.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

enum class Transport { Unix, Tcp };

struct EvictionTest : testing::TestWithParam<Transport> {
    EvictionTest() { control.create(1'000'000); }

    StorageClient connect() const {
        return GetParam() == Transport::Unix ? StorageClient(server.socketPath())
                                             : StorageClient(server.port());
    }
    void evictTheOnlyWorker() {
        ASSERT_TRUE(eventually([&] { return control.workerIds().size() == 1; }));
        ASSERT_EQ(control.evict(control.workerIds().front()), 0) << control.errorMessage();
    }
    static void expectTold(const StorageClient& worker) {
        EXPECT_EQ(worker.errorType(), TARN_STORAGE_ERROR_EVICTED) << worker.errorMessage();
        EXPECT_EQ(worker.errorMessage(), "An operator has evicted this worker from its track");
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
    StorageClient worker = connect();
};

INSTANTIATE_TEST_SUITE_P(Over, EvictionTest, testing::Values(Transport::Unix, Transport::Tcp),
                         [](const auto& chosen) {
                             return chosen.param == Transport::Unix ? "Unix" : "Tcp";
                         });

TEST_P(EvictionTest, AWriterIsToldAndItsTrackIsFree) {
    ASSERT_TRUE(worker.beWriter(0));
    ASSERT_EQ(worker.write(1, "kept"), 0);
    ASSERT_EQ(worker.flush(), 0);
    evictTheOnlyWorker();
    EXPECT_TRUE(eventually([&] { return control.workers().empty(); }));
    StorageClient next = connect();
    ASSERT_TRUE(eventually([&] { return next.beWriter(0); })) << next.errorMessage();
    EXPECT_EQ(worker.write(2, "lost"), -1);
    expectTold(worker);
    EXPECT_EQ(control.end(0), 1);
}

TEST_P(EvictionTest, AWriterThatWritesAllTheTimeIsTold) {
    ASSERT_TRUE(worker.beWriter(0));
    std::jthread evicting([&] { evictTheOnlyWorker(); });
    const std::string frame(50'000, 'x');
    std::int64_t timePoint = 0;
    while (worker.write(++timePoint, frame) == 0) {
    }
    expectTold(worker);
}

TEST_P(EvictionTest, AReaderThatWaitsIsTold) {
    ASSERT_TRUE(worker.beReader(0));
    std::jthread evicting([&] { evictTheOnlyWorker(); });
    EXPECT_EQ(worker.read(20'000), -1);
    expectTold(worker);
    evicting.join();
    EXPECT_TRUE(eventually([&] { return control.workers().empty(); }));
}

TEST_P(EvictionTest, AReaderThatHasNotTakenYetWhatWasSentIsTold) {
    {
        StorageClient writer(server.socketPath());
        ASSERT_TRUE(writer.beWriter(0));
        for (std::int64_t i = 1; i <= 10; ++i) {
            ASSERT_EQ(writer.write(i, "frame"), 0);
        }
        ASSERT_EQ(writer.flush(), 0);
    }
    ASSERT_TRUE(worker.beReader(0));
    ASSERT_EQ(worker.read(), 1) << worker.errorMessage();  // it asks for more than one
    evictTheOnlyWorker();
    ASSERT_TRUE(eventually([&] { return control.workers().empty(); }));
    while (worker.read() == 1) {
    }
    expectTold(worker);
}

TEST_P(EvictionTest, AReaderThatReadsAllTheTimeIsTold) {
    StorageClient writer(server.socketPath());
    ASSERT_TRUE(writer.beWriter(0));
    ASSERT_TRUE(worker.beReader(0));
    const auto readers = [&] { return control.workerIds().at(1); };
    std::jthread writing([&](const std::stop_token& stop) {
        const std::string frame(50'000, 'x');
        for (std::int64_t i = 1; !stop.stop_requested() && writer.write(i, frame) == 0; ++i) {
        }
    });
    std::jthread evicting([&] { EXPECT_EQ(control.evict(readers()), 0); });
    int result = 1;
    while (result >= 0 || worker.errorType() == TARN_STORAGE_ERROR_OVERTAKEN) {
        result = worker.read(20'000);
    }
    expectTold(worker);
}

TEST_P(EvictionTest, OneThatTakesNothingIsAttachedForSomeSecondsAtMost) {
    ASSERT_TRUE(worker.beWriter(0));
    const std::string frame(900'000, 'x');
    for (std::int64_t i = 1; i <= 4; ++i) {
        ASSERT_EQ(worker.write(i, frame), 0);
        ASSERT_EQ(worker.flush(), 0);
    }
    // Type READER of track 0, then a frame asked for that is never taken.
    const StalledClient stalled(
        server.socketPath(),
        greeting() + message(std::string("\x08\x0e\x12\x01\x00\x48\x01", 7)) + message("\x08\x0f"));
    ASSERT_TRUE(eventually([&] { return control.workerIds().size() == 2; }));
    ASSERT_EQ(control.evict(control.workerIds().at(1)), 0);
    EXPECT_TRUE(eventually([&] { return control.workerIds().size() == 1; }, 30s));
}

TEST_P(EvictionTest, WhoIsNotThereCannotBeEvicted) {
    EXPECT_EQ(control.evict(4711), -1);
    EXPECT_EQ(control.errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
    EXPECT_EQ(control.errorMessage(), "There is no worker 4711");
}

TEST_P(EvictionTest, WorkersAreListedWithWhereTheyAre) {
    ASSERT_TRUE(worker.beReader(0));
    if (GetParam() == Transport::Unix) {
        EXPECT_THAT(control.workerAddresses(),
                    ElementsAre("process " + std::to_string(::getpid())));
    } else {
        EXPECT_THAT(control.workerAddresses(), ElementsAre(StartsWith("127.0.0.1:")));
    }
}

}  // namespace
}  // namespace tarn::test
