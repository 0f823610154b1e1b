// Who may come in over TCP where the server has a certificate.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "tests/peers/loop_storage/support/RawTls.h"
#include "tests/peers/loop_storage/support/TlsStorage.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct LoopStorageTlsTest : testing::Test {
    /// What a client of that name is told when it connects and asks; empty: nothing bad.
    std::string refusalOf(const std::string& name) {
        StorageClient client(server.as(name));
        if (client.isConnected() && client.remaining() > 0) {
            return "";
        }
        EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_CONNECTION);
        return client.errorMessage();
    }
    void add(const std::string& level, const std::string& name, const std::string& tracks = {}) {
        server.generate(name);
        lines += server.line(level, name, tracks);
        server.list(lines);
    }

    TlsStorage server;
    std::string lines = "# clients\n";
};

// Frames that fit into one record, that need several, and that are larger than what is kept ahead.
TEST_F(LoopStorageTlsTest, WhatGoesThroughItArrivesAsItIs) {
    add("operate", "studio");
    StorageClient writer(server.as("studio"));
    ASSERT_TRUE(writer.beWriter(0)) << writer.errorMessage();
    StorageClient reader(server.as("studio"));
    ASSERT_TRUE(reader.beReader(0)) << reader.errorMessage();
    for (int i = 1; i <= 40; ++i) {
        std::string frame(i % 4 == 0 ? 2'000'003 : i * 997, '\0');
        for (std::size_t at = 0; at < frame.size(); ++at) {
            frame[at] = static_cast<char>((at * 31 + static_cast<std::size_t>(i)) % 251);
        }
        ASSERT_EQ(writer.write(i, frame, i % 3 == 0 ? 5 : 1), 0) << writer.errorMessage();
        ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
        ASSERT_EQ(reader.timePoint, i);
        ASSERT_TRUE(reader.bytes == frame) << i;
    }
    EXPECT_EQ(writer.flushToDisk(), 0);
}

TEST_F(LoopStorageTlsTest, QuestionsAreAnsweredByTheLevelOfTheCertificate) {
    add("admin", "control");
    add("read", "viewer");
    StorageClient control(server.as("control"));
    EXPECT_EQ(control.create(1'000'000), 2) << control.errorMessage();
    EXPECT_EQ(control.set(2, {{"name", "news"}}), 0);
    StorageClient viewer(server.as("viewer"));
    EXPECT_EQ(viewer.size(0), TlsStorage::trackSize);
    EXPECT_EQ(viewer.destroy(2), -1);
    EXPECT_EQ(viewer.errorMessage(),
              "Access denied: this needs the level admin, and client viewer has read");
    EXPECT_FALSE(viewer.beWriter(0));
    EXPECT_EQ(viewer.errorMessage(),
              "Access denied: this needs the level operate, and client viewer has read");
    EXPECT_THAT(viewer.tracks(), ElementsAre(0, 1, 2));
}

TEST_F(LoopStorageTlsTest, ATrackThatIsNotListedIsNeitherSeenNorReadNorWritten) {
    add("operate", "van", "0:read,1:write");
    add("operate", "other", "1:read");
    StorageClient local(server.socketPath());
    ASSERT_TRUE(local.beReader(0, TARN_STORAGE_START_OLDEST, 0, "secret"));
    StorageClient van(server.as("van"));
    EXPECT_THAT(van.tracks(), ElementsAre(0, 1));
    EXPECT_EQ(van.set(1, {{"a", "b"}}), 0);
    EXPECT_EQ(van.set(0, {{"a", "b"}}), -1);
    EXPECT_EQ(van.errorMessage(), "Access denied: client van may not write track 0");
    EXPECT_FALSE(van.beWriter(0));
    EXPECT_TRUE(van.beWriter(1));
    StorageClient other(server.as("other"));
    EXPECT_THAT(other.tracks(), ElementsAre(1));
    EXPECT_THAT(other.workers(), ElementsAre("writer 1 writer"));
    EXPECT_EQ(other.size(0), -1);
    EXPECT_EQ(other.errorMessage(), "Access denied: client other may not read track 0");
    EXPECT_FALSE(other.beReader(0));
    EXPECT_TRUE(other.beReader(1));
}

TEST_F(LoopStorageTlsTest, ACertificateThatIsNotListedIsRefusedAndNamedInTheLog) {
    const auto fingerprint = server.generate("stranger");
    EXPECT_THAT(refusalOf("stranger"), HasSubstr("it does not let this certificate in"));
    EXPECT_TRUE(server.program().process().waitForErr(
        "is refused: its certificate is not known here: " + fingerprint));
}

TEST_F(LoopStorageTlsTest, WhoShowsNoCertificateIsRefused) {
    EXPECT_THAT(greetBy({.certificate = {}}, server.port()), HasSubstr("certificate required"));
    EXPECT_TRUE(server.program().process().waitForErr("is refused: it shows no certificate"));
}

TEST_F(LoopStorageTlsTest, ACertificateThatHasExpiredIsRefused) {
    const auto fingerprint =
        server.generate("old", std::chrono::hours(-48), std::chrono::hours(-1));
    server.list(server.line("read", "old"));
    EXPECT_THAT(refusalOf("old"), HasSubstr("for it this certificate has expired"));
    EXPECT_TRUE(server.program().process().waitForErr("is refused: its certificate has expired: " +
                                                      fingerprint));
}

TEST_F(LoopStorageTlsTest, ACertificateOfTomorrowIsRefused) {
    const auto fingerprint = server.generate("new", std::chrono::hours(1), std::chrono::hours(48));
    server.list(server.line("read", "new"));
    EXPECT_THAT(refusalOf("new"), HasSubstr("it does not let this certificate in"));
    EXPECT_TRUE(server.program().process().waitForErr(
        "is refused: its certificate does not count yet: " + fingerprint));
}

TEST_F(LoopStorageTlsTest, AnotherServerIsNotSpokenTo) {
    add("read", "studio");
    auto address = server.as("studio");
    address.fingerprint = server.generate("other-server");
    const StorageClient client(address);
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_CONNECTION);
    EXPECT_THAT(client.errorMessage(), HasSubstr("its certificate is not known here"));
}

TEST_F(LoopStorageTlsTest, OldVersionsOfTlsAreRefusedAndNotSoOldOnesAreNot) {
    add("read", "studio");
    EXPECT_EQ(
        greetBy({.certificate = server.file("studio"), .newest = TLS1_3_VERSION}, server.port()),
        "greeted");
    EXPECT_EQ(
        greetBy({.certificate = server.file("studio"), .newest = TLS1_2_VERSION}, server.port()),
        "greeted");
    EXPECT_NE(
        greetBy({.certificate = server.file("studio"), .newest = TLS1_1_VERSION}, server.port()),
        "greeted");
}

TEST_F(LoopStorageTlsTest, WhoIsTakenOutLosesHisConnectionsAndOthersDoNot) {
    add("read", "stays");
    const auto others = lines;
    add("read", "goes");
    StorageClient stays(server.as("stays"));
    StorageClient question(server.as("goes"));
    StorageClient reader(server.as("goes"));
    ASSERT_TRUE(reader.beReader(0)) << reader.errorMessage();
    ASSERT_GT(question.remaining(), 0);
    std::thread waiting([&] { EXPECT_EQ(reader.read(30'000), -1); });
    server.list(others);
    waiting.join();
    EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_CONNECTION);
    EXPECT_EQ(question.remaining(), -1);
    EXPECT_THAT(refusalOf("goes"), HasSubstr("it does not let this certificate in"));
    EXPECT_GT(stays.remaining(), 0) << stays.errorMessage();
}

TEST_F(LoopStorageTlsTest, WhoseLineChangesGetsWhatItSaysNow) {
    add("operate", "studio");
    StorageClient writer(server.as("studio"));
    ASSERT_TRUE(writer.beWriter(0));
    server.list(server.line("read", "studio"));
    ASSERT_TRUE(server.program().process().waitForErr("Client certificates have changed: 1 "));
    EXPECT_TRUE(eventually([&] { return writer.flush() != 0 || writer.write(1, "x") != 0; }));
    StorageClient again(server.as("studio"));
    EXPECT_GT(again.remaining(), 0);
    EXPECT_FALSE(again.beWriter(0));
    EXPECT_THAT(again.errorMessage(), HasSubstr("client studio has read"));
}

TEST_F(LoopStorageTlsTest, WhoSpeaksPlainlyIsToldWhatIsMissing) {
    const StorageClient client(server.port());
    EXPECT_FALSE(client.isConnected());
    EXPECT_THAT(client.errorMessage(),
                HasSubstr("speaks TLS: a certificate and the server's fingerprint are needed"));
    EXPECT_TRUE(server.program().process().waitForErr("is refused: it does not speak TLS"));
}

TEST_F(LoopStorageTlsTest, TlsAtAPlainPortIsToldWhatIsMissing) {
    server.generate("studio");
    StorageProgram plain;
    auto address = server.as("studio");
    address.port = plain.port();
    const StorageClient client(address);
    EXPECT_FALSE(client.isConnected());
    EXPECT_THAT(client.errorMessage(), HasSubstr("it does not speak TLS"));
    EXPECT_TRUE(plain.process().waitForErr("does not greet as a loop storage client does"));
}

// More than there are places for, in the middle of a word, and before the first one.
TEST_F(LoopStorageTlsTest, WhoSaysNothingKeepsNobodyOut) {
    add("operate", "studio");
    const SilentClients nothing(server.port(), 40, "");
    const SilentClients halves(server.port(), 40, std::string("\x16\x03\x01\x02\x00\x01", 6));
    StorageClient client(server.as("studio"));
    EXPECT_GT(client.remaining(), 0) << client.errorMessage();
    EXPECT_TRUE(eventually([&] { return nothing.ended() == 40 && halves.ended() >= 8; }));
    EXPECT_TRUE(server.program().process().waitForErr("it has not shown who it is"));
    EXPECT_TRUE(eventually([&] { return halves.ended() == 40; }));  // after 5 s
}

TEST_F(LoopStorageTlsTest, WhatIsNoHandshakeEndsItAndNothingElse) {
    add("read", "studio");
    StorageClient before(server.as("studio"));
    for (const auto& bytes :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string(100'000, '\x16'),
          std::string("\x16\x03\x01\xff\xff", 5) + std::string(70'000, '\0'),
          std::string("\x80\x2e\x01\x03\x01", 5) + std::string(64, 'x'), std::string(1, '\0')}) {
        const SilentClients hostile(server.port(), 1, bytes);
        EXPECT_GT(before.remaining(), 0) << before.errorMessage();
    }
    EXPECT_EQ(refusalOf("studio"), "");
}

TEST_F(LoopStorageTlsTest, AKeyThatOthersCanReadIsNotUsed) {
    add("read", "studio");
    ::chmod(server.file("studio").c_str(), 0644);
    const StorageClient client(server.as("studio"));
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_THAT(client.errorMessage(), HasSubstr("others than its owner may read or write it"));
}

TEST_F(LoopStorageTlsTest, AServerDoesNotStartWithAKeyThatItShouldNotUse) {
    ::chmod(server.file("server").c_str(), 0640);
    std::ofstream(server.file("nonsense")) << "nonsense\n";
    ::chmod(server.file("nonsense").c_str(), 0600);
    for (const auto& [name, reason] :
         {std::pair("server", "others than its owner may read or write it"),
          std::pair("nonsense", "it holds no key with its certificate"),
          std::pair("nowhere", "No such file or directory")}) {
        const TemporaryFolder folder;
        const auto run = runProcess(
            {builtProgram("tarnLoopStorage"), "--directory", (folder.path() / "tracks").string(),
             "--tcp", "127.0.0.1:" + std::to_string(freePort()), "--certificate", server.file(name),
             "--client-certificates", server.file("clients")});
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_THAT(run.err, HasSubstr(server.file(name) + ": " + reason));
    }
}

// An address that no machine has, so that nobody is let in while this is tried.
TEST_F(LoopStorageTlsTest, AnAddressBeyondThisMachineIsNeitherWarnedOfNorRefused) {
    const TemporaryFolder folder;
    const auto run = runProcess(
        {builtProgram("tarnLoopStorage"), "--directory", (folder.path() / "tracks").string(),
         "--tcp", "192.0.2.1:" + std::to_string(freePort()), "--require-keys", "--certificate",
         server.file("server"), "--client-certificates", server.file("clients")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("Cannot listen on 192.0.2.1:"));
    EXPECT_THAT(run.err, HasSubstr("Cannot assign requested address"));
    EXPECT_EQ(run.err.find("beyond this machine"), std::string::npos) << run.err;
}

TEST_F(LoopStorageTlsTest, ItEndsInOrderWhileSomebodyShakesHands) {
    add("read", "studio");
    StorageClient reader(server.as("studio"));
    ASSERT_TRUE(reader.beReader(0));
    const SilentClients nothing(server.port(), 5, "");
    EXPECT_EQ(server.program().stop(), 0);
    EXPECT_EQ(reader.read(), -1);
}

}  // namespace
}  // namespace tarn::test
