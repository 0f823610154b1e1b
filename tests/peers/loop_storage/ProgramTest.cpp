// Starting, stopping, and places that do not serve.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"

namespace tarn::test {
namespace {

using testing::HasSubstr;

const std::string program = builtProgram("tarnLoopStorage");

TEST(LoopStorageProgramTest, BothStopSignalsEndItInOrder) {
    for (const int signal : {SIGTERM, SIGINT}) {
        StorageProgram server;
        StorageClient client(server.socketPath());
        server.process().signal(signal);
        EXPECT_EQ(server.process().wait().exitStatus, 0);
        EXPECT_FALSE(std::filesystem::exists(server.socketPath()));
    }
}

TEST(LoopStorageProgramTest, StoppingDropsItsClients) {
    StorageProgram server;
    StorageClient control(server.socketPath());
    control.create(1'000'000);
    StorageClient writer(server.socketPath());
    ASSERT_TRUE(writer.beWriter(0));
    StorageClient reader(server.port());
    ASSERT_TRUE(reader.beReader(0));
    ASSERT_EQ(writer.write(1, "x"), 0);
    ASSERT_EQ(writer.flush(), 0);
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(server.stop(), 0);
    EXPECT_EQ(reader.read(), -1);
    EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_CONNECTION);
    server.start();
    EXPECT_EQ(StorageClient(server.socketPath()).end(0), 1);
}

TEST(LoopStorageProgramTest, ASecondServerOnTheDirectoryIsRefused) {
    StorageProgram server;
    const auto second = runProcess({program, "--directory", server.directory().string(), "--unix",
                                    (server.place().path() / "other").string()});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.err,
                HasSubstr("Another server uses directory " + server.directory().string()));
    EXPECT_TRUE(StorageClient(server.socketPath()).isConnected());
}

TEST(LoopStorageProgramTest, ASocketOnWhichSomebodyListensIsNotTakenAway) {
    StorageProgram server;
    const auto other = (server.place().path() / "others").string();
    const auto second = runProcess({program, "--directory", other, "--unix", server.socketPath()});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.err, HasSubstr("Cannot listen on " + server.socketPath()));
    const auto third = runProcess(
        {program, "--directory", other, "--tcp", "127.0.0.1:" + std::to_string(server.port())});
    EXPECT_EQ(third.exitStatus, 1);
    EXPECT_THAT(third.err, HasSubstr("Cannot listen on 127.0.0.1:"));
    EXPECT_TRUE(StorageClient(server.socketPath()).isConnected());
}

// An address that no machine has, so that nobody is let in while this is tried.
TEST(LoopStorageProgramTest, TcpThatReachesBeyondThisMachineIsWarnedOf) {
    const TemporaryFolder folder;
    const auto run = runProcess({program, "--directory", (folder.path() / "tracks").string(),
                                 "--tcp", "192.0.2.1:" + std::to_string(freePort())});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("reaches beyond this machine without encryption"));
    EXPECT_THAT(run.err, HasSubstr("Cannot listen on 192.0.2.1:"));
}

TEST(LoopStorageProgramTest, ItIsRefusedWhereKeysAreRequired) {
    const TemporaryFolder folder;
    const auto tracks = (folder.path() / "tracks").string();
    for (const std::string host : {"192.0.2.1", "0.0.0.0", "[::]"}) {
        const auto refused = runProcess({program, "--directory", tracks, "--require-keys", "--tcp",
                                         host + ":" + std::to_string(freePort())});
        EXPECT_EQ(refused.exitStatus, 1);
        EXPECT_THAT(refused.err,
                    HasSubstr("it reaches beyond this machine, and keys are required"));
    }
    const StorageProgram within({"--require-keys"});
    EXPECT_TRUE(StorageClient(within.port()).isConnected());
}

TEST(LoopStorageProgramTest, ASocketThatWasLeftBehindIsReplaced) {
    StorageProgram server;
    server.kill();
    EXPECT_TRUE(std::filesystem::exists(server.socketPath()));
    server.start();
    EXPECT_TRUE(StorageClient(server.socketPath()).isConnected());
}

TEST(LoopStorageProgramTest, AFileInTheSocketsPlaceIsLeftAlone) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "content");
    const auto result =
        runProcess({program, "--directory", (folder.path() / "tracks").string(), "--unix", file});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(readFile(file), "content");
}

TEST(LoopStorageProgramTest, ADirectoryThatCannotBeUsedIsAClearError) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "");
    const auto result =
        runProcess({program, "--directory", file, "--unix", (folder.path() / "socket").string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr(file));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "socket"));
}

TEST(LoopStorageProgramTest, ADirectoryWithoutPermissionIsAClearError) {
    const TemporaryFolder folder;
    const auto tracks = folder.path() / "tracks";
    std::filesystem::create_directory(tracks);
    ::chmod(tracks.c_str(), 0555);
    // As somebody whom permissions stop: root may do everything.
    std::vector<std::string> command = {program, "--directory", tracks.string(), "--unix",
                                        (folder.path() / "socket").string()};
    if (::geteuid() == 0) {
        ::chmod(folder.path().c_str(), 0755);
        const std::vector<std::string> asNobody = {"setpriv", "--reuid=65534", "--regid=65534",
                                                   "--clear-groups"};
        command.insert(command.begin(), asNobody.begin(), asNobody.end());
    }
    const auto result = runProcess(command);
    ::chmod(tracks.c_str(), 0755);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err,
                HasSubstr("Cannot open " + (tracks / "lock").string() + ": Permission denied"));
}

TEST(LoopStorageProgramTest, ATrackTooLargeForTheDiskIsRefusedAndOthersAreMade) {
    StorageProgram server;
    StorageClient client(server.socketPath());
    EXPECT_EQ(client.create(1ULL << 49U), -1);
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_NO_SPACE);
    EXPECT_EQ(client.create(1000), 0);
}

TEST(LoopStorageProgramTest, WhereFilesMayNotGrowThatFarNothingIsLeftOfTheTry) {
    StorageProgram server;
    server.stop();
    auto command = server.command();
    // In kilobytes.
    command.insert(command.begin(), {"bash", "-c", "ulimit -f 2000; exec \"$0\" \"$@\""});
    Process limited(command);
    ASSERT_TRUE(limited.waitForErr("Serves "));
    StorageClient client(server.socketPath());
    EXPECT_EQ(client.create(10'000'000), -1);
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_NO_SPACE);
    EXPECT_THAT(client.errorMessage(), HasSubstr("File too large"));
    EXPECT_EQ(client.create(1'000'000), 0);
    EXPECT_EQ(client.resize(0, 10'000'000), -1);
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_NO_SPACE);
    EXPECT_EQ(client.size(0), 1'000'000);
    EXPECT_FALSE(std::filesystem::exists(server.directory() / "making-0"));
    limited.signal(SIGTERM);
    EXPECT_EQ(limited.wait().exitStatus, 0);
}

}  // namespace
}  // namespace tarn::test
