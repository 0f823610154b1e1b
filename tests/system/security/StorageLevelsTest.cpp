#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto socketPath = "/tmp/loop-storage";
constexpr auto tracksFolder = "/var/log/tracks-of-levels";
constexpr std::int64_t trackSize = 1'000'000;

/// A loop storage with one track, and other users at its socket.
class StorageLevelsTest : public SecurityTest {
  protected:
    using Said = std::vector<std::string>;
    using Work = std::function<int(StorageClient&)>;

    void SetUp() override {
        SecurityTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        start();
        StorageClient client{std::string(socketPath)};
        ASSERT_EQ(client.create(trackSize), 0) << client.errorMessage();
    }
    void TearDown() override {
        if (server) {
            server->signal(SIGTERM);
            EXPECT_EQ(server->wait().exitStatus, 0);
        }
        std::filesystem::remove_all(tracksFolder);
        SecurityTest::TearDown();
    }

    void start() {
        server = std::make_unique<Process>(std::vector<std::string>{
            loopStorageProgram, "--directory", tracksFolder, "--unix", socketPath});
        ASSERT_TRUE(server->waitForErr("Serves ")) << server->output().text();
    }

    /// What one connection of that user is answered, one by one: "done", or the refusal.
    static Said answersTo(const OtherUser& user, const std::vector<Work>& works) {
        std::array<int, 2> channel{};
        EXPECT_EQ(::pipe(channel.data()), 0);
        EXPECT_TRUE(doneAs(user, [&] {
            StorageClient client{std::string(socketPath)};
            std::string all;
            for (const auto& work : works) {
                all += (work(client) < 0 ? client.errorMessage() : "done") + "\n";
            }
            return ::write(channel[1], all.data(), all.size()) == static_cast<ssize_t>(all.size());
        }));
        ::close(channel[1]);
        return linesFrom(channel[0]);
    }

    static std::string denied(const std::string& level, const std::string& has) {
        return "Access denied: this needs the level " + level + ", and user 61001 has " + has;
    }

    // The last one, which everybody may, shows that the connection lives on.
    static std::vector<Work> everything() {
        return {
            [](StorageClient& client) { return client.size(0) == trackSize ? 0 : -1; },
            [](StorageClient& client) { return client.remaining() > 0 ? 0 : -1; },
            [](StorageClient& client) {
                return client.set(0, {{"name", "value"}});
            },
            [](StorageClient& client) { return client.remove(0, {"name"}); },
            [](StorageClient& client) { return client.create(trackSize) > 0 ? 0 : -1; },
            [](StorageClient& client) { return client.resize(0, 2 * trackSize) > 0 ? 0 : -1; },
            [](StorageClient& client) { return client.resize(0, trackSize) > 0 ? 0 : -1; },
            [](StorageClient& client) { return client.clear(0); },
            [](StorageClient& client) { return client.destroy(1); },
            [](StorageClient& client) {
                client.evict(4711);
                return client.errorType() == TARN_STORAGE_ERROR_NOT_FOUND ? 0 : -1;
            },
            [](StorageClient& client) { return client.tracks().size() == 1 ? 0 : -1; },
        };
    }

    std::unique_ptr<Process> server;

  private:
    static Said linesFrom(int channel) {
        std::string text;
        std::array<char, 4096> piece{};
        for (ssize_t got = 0; (got = ::read(channel, piece.data(), piece.size())) > 0;) {
            text.append(piece.data(), static_cast<std::size_t>(got));
        }
        ::close(channel);
        Said lines;
        for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            lines.push_back(text.substr(begin, end - begin));
        }
        return lines;
    }
};

}  // namespace

TEST_F(StorageLevelsTest, WhoHasNoneIsNotLetIn) {
    EXPECT_EQ(knockAs(nobody(), socketPath), EACCES);
    EXPECT_EQ(knockAs(reader(), socketPath), 0);
}

TEST_F(StorageLevelsTest, AReaderLooksAndChangesNothing) {
    const auto operate = denied("operate", "read");
    const auto admin = denied("admin", "read");
    EXPECT_THAT(answersTo(reader(), everything()),
                ElementsAre("done", "done", operate, operate, admin, admin, admin, admin, admin,
                            admin, "done"));
    EXPECT_TRUE(server->waitForErr("SET_PROPERTIES: " + operate));
    StorageClient client{std::string(socketPath)};
    EXPECT_EQ(client.size(0), trackSize);
}

TEST_F(StorageLevelsTest, AnOperatorChangesPropertiesAndNoTrack) {
    const auto admin = denied("admin", "operate");
    EXPECT_THAT(answersTo(operating(), everything()),
                ElementsAre("done", "done", "done", "done", admin, admin, admin, admin, admin,
                            admin, "done"));
}

TEST_F(StorageLevelsTest, AnAdministratorMayAll) {
    EXPECT_THAT(answersTo(admin(), everything()), testing::Each("done"));
}

TEST_F(StorageLevelsTest, AReaderReadsAndAnOperatorWrites) {
    const std::vector<Work> read{[](StorageClient& client) { return client.beReader(0) ? 0 : -1; },
                                 [](StorageClient& client) { return client.read(0); }};
    const std::vector<Work> write{[](StorageClient& client) { return client.beWriter(0) ? 0 : -1; },
                                  [](StorageClient& client) { return client.write(1, "frame"); },
                                  [](StorageClient& client) { return client.flush(); }};
    EXPECT_THAT(answersTo(reader(), {write[0]}), ElementsAre(denied("operate", "read")));
    EXPECT_THAT(answersTo(operating(), write), ElementsAre("done", "done", "done"));
    const std::vector<Work> readIt{read[0], [](StorageClient& client) {
                                       return client.read() == 1 && client.bytes == "frame" ? 0
                                                                                            : -1;
                                   }};
    EXPECT_THAT(answersTo(reader(), readIt), ElementsAre("done", "done"));
}

// Nobody else is served slower than ever, and the log does not grow by what he does.
TEST_F(StorageLevelsTest, WhoIsRefusedAllTheTimeIsLoggedOnceASecond) {
    const std::vector<Work> works(500, [](StorageClient& client) { return client.clear(0); });
    EXPECT_THAT(answersTo(reader(), works), testing::Each(denied("admin", "read")));
    StorageClient client{std::string(socketPath)};
    EXPECT_EQ(client.size(0), trackSize);
    const auto text = server->output().text();
    std::size_t lines = 0;
    for (auto at = text.find("CLEAR_TRACK"); at != std::string::npos;
         at = text.find("CLEAR_TRACK", at + 1)) {
        ++lines;
    }
    EXPECT_GE(lines, 1U);
    EXPECT_LT(lines, 50U);
}

}  // namespace tarn::test
