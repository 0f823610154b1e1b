#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/storage_client/tarn_storage.h"
#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"
#include "tests/platform/storage_client/FakeServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"

namespace tarn::test {
namespace {

constexpr unsigned shortTime = 200;

struct ConnectionTest : testing::Test {
    ~ConnectionTest() override {
        tarn_storage_connection_destroy(connection);
        tarn_storage_error_destroy(error);
    }
    void connect(const FakeServer& server, unsigned timeOut = shortTime) {
        connection = tarn_storage_connection_create_tcp("127.0.0.1", server.port(), timeOut, error);
    }
    int type() const { return tarn_storage_error_get_type(error); }
    std::string message() const { return tarn_storage_error_get_message(error); }

    static std::string greeting() {
        const auto bytes = storage_wire::makeGreeting();
        return {bytes.data(), bytes.size()};
    }
    static std::string header(std::uint32_t messageSize, std::uint32_t payloadSize) {
        const auto bytes =
            storage_wire::encode({.messageSize = messageSize, .payloadSize = payloadSize});
        return {bytes.data(), bytes.size()};
    }

    tarn_storage_error* const error = tarn_storage_error_create();
    tarn_storage_connection* connection = nullptr;
};

TEST_F(ConnectionTest, AServerThatSaysNothingIsATimeOutWithinItsBound) {
    const FakeServer server("");
    const auto begin = std::chrono::steady_clock::now();
    connect(server);
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_TIMEOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(ConnectionTest, AnotherUsersSocketIsNoServer) {
    if (!canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    const TemporaryFolder folder;
    const auto path = (folder.path() / "socket").string();
    for (const auto file : {ImpostorSocket::File::Ours, ImpostorSocket::File::Impostors}) {
        std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
        const ImpostorSocket impostor(path, file);
        connection = tarn_storage_connection_create_uds(path.c_str(), error);
        EXPECT_EQ(connection, nullptr);
        EXPECT_EQ(type(), TARN_STORAGE_ERROR_CONNECTION);
        EXPECT_TRUE(message().starts_with("Cannot connect to " + path + ": ")) << message();
        EXPECT_NE(message().find("user 61001"), std::string::npos) << message();
        EXPECT_EQ(impostor.loot(), "");
    }
}

TEST_F(ConnectionTest, AnotherProgramIsToldFromAServer) {
    const FakeServer server("220 mail.example.org ESMTP ready");
    connect(server, 5000);
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_PROTOCOL);
    EXPECT_EQ(message(),
              "At 127.0.0.1:" + std::to_string(server.port()) + " there is no loop storage server");
}

TEST_F(ConnectionTest, AnotherVersionIsRefused) {
    auto other = greeting();
    other[8] = 77;
    const FakeServer server(other);
    connect(server, 5000);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_PROTOCOL);
    EXPECT_NE(message().find("another version"), std::string::npos);
}

TEST_F(ConnectionTest, AnAnswerThatNeverComesEndsTheConnection) {
    const FakeServer server(greeting());
    connect(server);
    ASSERT_NE(connection, nullptr) << message();
    EXPECT_EQ(tarn_storage_get_remaining_space(connection, error), -1);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_TIMEOUT);
    EXPECT_EQ(tarn_storage_get_remaining_space(connection, error), -1);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_CONNECTION);
}

TEST_F(ConnectionTest, AnAnswerOfFourGigabytesIsRefusedAtItsLength) {
    const FakeServer server(greeting() + header(0xffffffffU, 0));
    connect(server, 5000);
    EXPECT_EQ(tarn_storage_get_remaining_space(connection, error), -1);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_PROTOCOL);
}

TEST_F(ConnectionTest, AnAnswerOfOtherBytesIsRefused) {
    const FakeServer server(greeting() + header(4, 0) + "\xff\xff\xff\xff");
    connect(server, 5000);
    EXPECT_EQ(tarn_storage_get_remaining_space(connection, error), -1);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_PROTOCOL);
}

TEST_F(ConnectionTest, APathThatIsTooLongForASocketIsRefused) {
    connection = tarn_storage_connection_create_uds(std::string(100'000, 'x').c_str(), error);
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_ARGUMENT);
}

TEST_F(ConnectionTest, ANameThatIsNoHostIsRefused) {
    connection = tarn_storage_connection_create_tcp("no host at all", 1, 3000, error);
    EXPECT_EQ(connection, nullptr);
    EXPECT_TRUE(type() == TARN_STORAGE_ERROR_CONNECTION || type() == TARN_STORAGE_ERROR_TIMEOUT);
}

TEST_F(ConnectionTest, NullTextsAreRefused) {
    EXPECT_EQ(tarn_storage_connection_create_uds(nullptr, error), nullptr);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_EQ(tarn_storage_connection_create_tcp(nullptr, 1, 0, error), nullptr);
    EXPECT_EQ(type(), TARN_STORAGE_ERROR_ARGUMENT);
}

}  // namespace
}  // namespace tarn::test
