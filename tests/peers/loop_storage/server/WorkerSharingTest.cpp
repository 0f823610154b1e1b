// What workers on the server's machine share with it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "peers/loop_storage/server/WorkerSharing.h"
#include "platform/storage_wire/MemorySharing.h"
#include "platform/storage_wire/MessageParser.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/peers/loop_storage/support/TestTrack.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace tarn::peers::loop_storage;

/// What a client sees of the memory behind a descriptor.
class ClientsView {
  public:
    ClientsView(int descriptor, std::size_t size, int protection)
        : size(size), address(::mmap(nullptr, size, protection, MAP_SHARED, descriptor, 0)) {}
    ~ClientsView() {
        if (isThere()) {
            ::munmap(address, size);
        }
    }
    ClientsView(const ClientsView&) = delete;
    ClientsView& operator=(const ClientsView&) = delete;

    bool isThere() const { return address != MAP_FAILED; }
    char* bytes() const { return static_cast<char*>(address); }
    std::uint64_t limit() const {
        return static_cast<const storage_wire::LimitPage*>(address)->limit.load();
    }

  private:
    const std::size_t size;
    void* const address;
};

TEST(SharedLimitTest, ClientsSeeItAndCannotChangeIt) {
    SharedLimit limit(17);
    const ClientsView page(limit.descriptor(), storage_wire::limitPageSize, PROT_READ);
    ASSERT_TRUE(page.isThere());
    EXPECT_EQ(page.limit(), 17U);
    limit.raise(1ULL << 40U);
    EXPECT_EQ(page.limit(), 1ULL << 40U);

    EXPECT_FALSE(
        ClientsView(limit.descriptor(), storage_wire::limitPageSize, PROT_READ | PROT_WRITE)
            .isThere());
    EXPECT_EQ(::pwrite(limit.descriptor(), "x", 1, 0), -1);
    EXPECT_EQ(::ftruncate(limit.descriptor(), 0), -1);
    EXPECT_EQ(::fcntl(limit.descriptor(), F_ADD_SEALS, F_SEAL_WRITE), -1);
}

TEST(WriterMemoryTest, ClientsFillItAndCannotResizeIt) {
    const WriterMemory memory;
    const ClientsView view(memory.descriptor(), memory.size(), PROT_READ | PROT_WRITE);
    ASSERT_TRUE(view.isThere());
    view.bytes()[100] = 'a';
    EXPECT_EQ(memory.at(100, 1), "a");
    EXPECT_EQ(::ftruncate(memory.descriptor(), 0), -1);
    EXPECT_EQ(::ftruncate(memory.descriptor(), 1 << 30), -1);
}

TEST(WriterMemoryTest, APlaceOutsideIsRefused) {
    const WriterMemory memory;
    EXPECT_EQ(memory.at(0, memory.size()).size(), memory.size());
    EXPECT_EQ(memory.at(memory.size(), 0).size(), 0U);
    EXPECT_THROW(memory.at(0, memory.size() + 1), storage_wire::WireError);
    EXPECT_THROW(memory.at(memory.size(), 1), storage_wire::WireError);
    EXPECT_THROW(memory.at(~0ULL, 2), storage_wire::WireError);
    EXPECT_THROW(memory.at(2, ~0ULL), storage_wire::WireError);
}

TEST(TrackSharingTest, TheLimitIsRaisedBeforeTheBytesAreWritten) {
    TestTrack track(1000);
    track.beWriter();
    track->attach(Track::WorkerKind::Reader);
    track.put(1, std::string(600, 'a'));
    const auto shared = track->share();
    const ClientsView page(shared.limit->descriptor(), storage_wire::limitPageSize, PROT_READ);
    EXPECT_EQ(page.limit(), 600U);
    const auto frame = track->reserve(2, 600);
    EXPECT_EQ(page.limit(), 1200U);
    track->write(frame, 0, std::string(600, 'b'));
    track->commit(frame);
    EXPECT_EQ(page.limit(), 1200U);
}

TEST(TrackSharingTest, TheDataCanOnlyBeRead) {
    TestTrack track(1000);
    track.beWriter();
    track.put(1, "frame");
    const auto shared = track->share();
    std::string bytes(5, ' ');
    EXPECT_EQ(::pread(shared.data.get(), bytes.data(), 5, 0), 5);
    EXPECT_EQ(bytes, "frame");
    EXPECT_EQ(::pwrite(shared.data.get(), "x", 1, 0), -1);
}

struct LocalWorkersTest : testing::Test {
    static std::string frameOf(std::int64_t timePoint, std::size_t size) {
        return std::string(size, static_cast<char>(timePoint * 7 % 251));
    }
    void fill(std::int64_t first, std::int64_t last, std::size_t size) {
        StorageClient writer(server.socketPath());
        ASSERT_TRUE(eventually([&] { return writer.beWriter(0); }));
        for (auto i = first; i <= last; ++i) {
            ASSERT_EQ(writer.write(i, frameOf(i, size)), 0) << writer.errorMessage();
        }
        ASSERT_EQ(writer.flush(), 0) << writer.errorMessage();
    }
    void expectFrames(StorageClient& reader, std::int64_t first, std::int64_t last,
                      std::size_t size) {
        for (auto i = first; i <= last; ++i) {
            ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
            ASSERT_EQ(reader.timePoint, i);
            ASSERT_EQ(reader.bytes, frameOf(i, size));
        }
    }

    /// The track's data is on the disk only.
    void dropFromMemory() {
        ASSERT_TRUE(eventually([&] { return control.workers().empty(); }));
        const auto path = server.directory() / "track-0" / "data.0";
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(file, 0);
        EXPECT_EQ(::fdatasync(file), 0);
        EXPECT_EQ(::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED), 0);
        ::close(file);
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
};

TEST_F(LocalWorkersTest, FramesOfAllSizesPassThroughTheMemoryAndThoseThatDoNotFitBesideIt) {
    ASSERT_EQ(control.create(200'000'000), 0);
    StorageClient writer(server.socketPath());
    ASSERT_TRUE(writer.beWriter(0));
    const std::vector<std::size_t> sizes = {1,          0,         33'554'433, 3'000'000, 64,
                                            33'554'432, 7'654'321, 0,          65,        8'000'000,
                                            8'000'000,  8'000'000, 8'000'000,  8'000'000, 9};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const auto timePoint = static_cast<std::int64_t>(i);
        ASSERT_EQ(writer.write(timePoint, frameOf(timePoint, sizes[i])), 0);
    }
    ASSERT_EQ(writer.flush(), 0) << writer.errorMessage();
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0));
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const auto timePoint = static_cast<std::int64_t>(i);
        expectFrames(reader, timePoint, timePoint, sizes[i]);
    }
}

TEST_F(LocalWorkersTest, WhatIsNotInMemoryIsReadAllTheSame) {
    ASSERT_EQ(control.create(20'000'000), 0);
    fill(1, 60, 300'000);
    dropFromMemory();
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0));
    expectFrames(reader, 1, 30, 300'000);
    EXPECT_EQ(control.workers().size(), 1U);
    expectFrames(reader, 31, 60, 300'000);
    EXPECT_EQ(reader.read(0), 0);
}

// The reader knows where several frames lie, and nobody looks after the ring any more.
TEST_F(LocalWorkersTest, NothingIsReadOnceTheServerIsGone) {
    ASSERT_EQ(control.create(1'000'000), 0);
    fill(1, 20, 1000);
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0));
    expectFrames(reader, 1, 1, 1000);
    server.kill();
    // None, or those whose bytes the server had sent, should the first not have been in memory.
    int framesOfTheServer = 0;
    int result = 1;
    while ((result = reader.read()) == 1) {
        EXPECT_EQ(reader.bytes, frameOf(reader.timePoint, 1000));
        ++framesOfTheServer;
    }
    EXPECT_LE(framesOfTheServer, 3);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_CONNECTION) << reader.errorMessage();
}

TEST_F(LocalWorkersTest, AReaderThatIsOvertakenWhereItReadsGoesOnAtTheOldestFrame) {
    ASSERT_EQ(control.create(1'000'000), 0);
    fill(1, 10, 100'000);
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0));
    expectFrames(reader, 1, 1, 100'000);  // and knows where the others lay
    fill(11, 15, 100'000);
    EXPECT_EQ(reader.read(), -1);
    EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_OVERTAKEN) << reader.errorMessage();
    EXPECT_EQ(reader.oldestTimePoint(), 6);
    expectFrames(reader, 6, 15, 100'000);
}

}  // namespace
}  // namespace tarn::test
