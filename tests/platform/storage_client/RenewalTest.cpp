// Servers let go of who asks for nothing for a while; who asks again is not to notice.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "platform/storage_client/connection/Connecting.h"
#include "platform/storage_client/connection/ServerConnection.h"
#include "platform/storage_client/tarn_storage.h"
#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"
#include "tests/platform/storage_client/FakeServer.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using storage_client::Deadline;
using storage_client::ServerConnection;

/// A connection to one server after the other, each of which says how much space remains.
struct RenewalTest : testing::Test {
    ~RenewalTest() override { tarn_storage_error_destroy(error); }

    /// It answers so, twice.
    void serves(char space) {
        const auto greeting = storage_wire::makeGreeting();
        const auto header = storage_wire::encode({.messageSize = 2, .payloadSize = 0});
        const auto answer = std::string(header.data(), header.size()) + "\x18" + space;
        servers.push_back(std::make_unique<FakeServer>(
            std::string(greeting.data(), greeting.size()) + answer + answer));
        ports.push_back(servers.back()->port());
    }
    void connect() {
        const auto next = [this](const os::Deadline& deadline) {
            const auto port = ports.front();
            ports.pop_front();
            whileConnecting();
            return storage_client::connectTcp("127.0.0.1", port, std::nullopt, deadline);
        };
        handle = std::make_unique<tarn_storage_connection>(next, 5s, [this] { return now; });
    }
    std::int64_t ask() { return tarn_storage_get_remaining_space(handle.get(), error); }

    tarn_storage_error* const error = tarn_storage_error_create();
    std::deque<std::unique_ptr<FakeServer>> servers;
    std::deque<std::uint16_t> ports;
    std::chrono::steady_clock::time_point now;
    std::function<void()> whileConnecting = [] {};
    std::unique_ptr<tarn_storage_connection> handle;
};

TEST_F(RenewalTest, AConnectionThatHasNotRestedIsUsedAgain) {
    serves(1);
    connect();
    EXPECT_EQ(ask(), 1);
    now += 30s;
    EXPECT_EQ(ask(), 1);
}

TEST_F(RenewalTest, OneThatHasRestedIsMadeAnewThoughItStillStands) {
    serves(1);
    serves(2);
    connect();
    EXPECT_EQ(ask(), 1);
    now += 31s;
    EXPECT_EQ(ask(), 2);
    EXPECT_EQ(ask(), 2);
}

TEST_F(RenewalTest, OneThatTheServerHasEndedIsMadeAnew) {
    serves(1);
    serves(2);
    connect();
    servers.pop_front();
    EXPECT_EQ(ask(), 2) << tarn_storage_error_get_message(error);
}

TEST_F(RenewalTest, WhereNobodyIsAnyMoreThatIsTheFailureAndTheEnd) {
    serves(1);
    connect();
    const auto port = servers.front()->port();
    servers.pop_front();
    ports = {port, port};
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_CONNECTION);
    serves(2);
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_CONNECTION);
    handle.reset();
    storage_client::connectTcp("127.0.0.1", servers.back()->port(), std::nullopt, os::Deadline(5s));
}

TEST_F(RenewalTest, OneThatWasInterruptedStaysSo) {
    serves(1);
    serves(2);
    connect();
    tarn_storage_connection_interrupt(handle.get());
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_CONNECTION);
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(ports.size(), 1U) << "nobody else was asked";
    storage_client::connectTcp("127.0.0.1", servers.back()->port(), std::nullopt, os::Deadline(5s));
}

TEST_F(RenewalTest, OneThatIsInterruptedWhileItIsMadeAnewDoesNotGoOn) {
    serves(1);
    serves(2);
    connect();
    whileConnecting = [this] { tarn_storage_connection_interrupt(handle.get()); };
    servers.pop_front();
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(tarn_storage_error_get_type(error), TARN_STORAGE_ERROR_CONNECTION);
    EXPECT_EQ(ports.size(), 0U);
}

}  // namespace
}  // namespace tarn::test
