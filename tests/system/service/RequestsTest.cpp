#include <atomic>
#include <random>
#include <thread>

#include "tests/support/Eventually.h"
#include "tests/system/harness/RawSocket.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace api = proto::api_service;

namespace {

using namespace std::chrono_literals;

constexpr auto requests = "ipc:///tmp/requests";
const std::string getInfo("\x08\x01", 2);

class RequestsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        startService();
        raw.connect(requests);
    }

    // One connection is served in order: had the first request been answered, its answer would
    // come before this one's.
    void expectOnlyInfoIsAnswered() {
        raw.sendRequest(getInfo);
        const auto frames = raw.receive(10s);
        ASSERT_TRUE(frames);
        Api::Reply reply;
        ASSERT_TRUE(reply.ParseFromString(frames->back()));
        EXPECT_EQ(reply.type(), Api::Reply::INFO);
        EXPECT_FALSE(raw.receive(50ms));
    }

    RawSocket raw{RawSocket::Kind::Dealer};
};

class UnservedRequestsTest : public RequestsTest,
                             public ::testing::WithParamInterface<std::string> {};

TEST_P(UnservedRequestsTest, GetNoReplyAndTheNextOneIsServed) {
    raw.sendRequest(GetParam());
    expectOnlyInfoIsAnswered();
    // The answer may be here before the log is.
    const auto logged = [this](const auto& text) { return service().log().count(text); };
    EXPECT_TRUE(eventually([&] { return logged("Received ") == 2 && logged("Sending ") == 1; }))
        << service().log().text();
    EXPECT_EQ(logged("ERROR"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Types, UnservedRequestsTest,
                         ::testing::Values(std::string("\x08\x00", 2), std::string("\x08\x02", 2),
                                           std::string("\x08\x08", 2), std::string("\x08\x0c", 2),
                                           std::string()),
                         [](const auto& test) {
                             const std::string& bytes = test.param;
                             return bytes.empty() ? "none" : "type" + std::to_string(bytes[1]);
                         });

TEST_F(RequestsTest, BytesThatAreNoRequestAreDroppedWithALogLine) {
    std::mt19937 random(1);
    constexpr std::size_t messages = 50;
    for (std::size_t i = 0; i < messages; ++i) {
        std::string bytes(1, '\xff');  // no message begins like this
        for (std::size_t n = 0; n < i * 20; ++n) {
            bytes += static_cast<char>(random() & 0xff);
        }
        raw.sendRequest(bytes);
    }
    expectOnlyInfoIsAnswered();
    EXPECT_TRUE(eventually([&] {
        return service().log().count("Failed receiving API request: ") == messages;
    })) << service().log().text();
}

TEST_F(RequestsTest, MessagesInOtherShapesDoNotStopTheService) {
    raw.send({"not behind an empty frame"});
    raw.send({"", "one", "two", "three"});
    raw.send({"", ""});
    raw.send({"", "", ""});
    EXPECT_TRUE(api().info());
    EXPECT_TRUE(service().isRunning());
}

TEST_F(RequestsTest, ARequestOverTenMebibytesIsRefusedAndTheSameClientIsServedOn) {
    constexpr std::size_t tooMuch = (10u << 20) + 1;
    api().send(submissionOf({.pipeline = std::string(tooMuch, 'x')}));
    EXPECT_TRUE(service().waitForLog("Failed receiving API request: "));
    EXPECT_TRUE(api().info());
}

TEST_F(RequestsTest, AMessageThatTheTransportRefusesDoesNotStopTheService) {
    raw.sendRequest(std::string(65u << 20, 'x'));
    EXPECT_FALSE(raw.receive(100ms));
    EXPECT_TRUE(api().info());
}

TEST_F(RequestsTest, MissingExtensionsReadAsEmptyOnes) {
    const auto jobs = api().ask(requestOfType(Api::Request::GET_JOBS));
    ASSERT_TRUE(jobs);
    EXPECT_EQ(jobs->type(), Api::Reply::GET_JOBS);
    EXPECT_TRUE(jobs->success());

    const auto job = api().ask(requestOfType(Api::Request::GET_JOB_BY_UUID));
    ASSERT_TRUE(job);
    EXPECT_EQ(job->type(), Api::Reply::GET_JOB_BY_UUID);
    // An empty id equals that of no job at all.
    EXPECT_TRUE(job->GetExtension(api::ServiceToApiReplyGetJobByUuid::base).has_running_job());

    const auto submission = api().ask(requestOfType(Api::Request::JOB_SUBMISSION));
    ASSERT_TRUE(submission);
    EXPECT_EQ(submission->type(), Api::Reply::JOB_SUBMISSION);
    EXPECT_TRUE(submission->success());
    EXPECT_TRUE(api().info());
}

TEST_F(RequestsTest, AnUnknownIdIsAnsweredWithoutAJob) {
    const auto reply = api().job("6b0c4ca5-0f0c-4a5e-9d5f-0d7f2f3a1b2c");
    ASSERT_TRUE(reply);
    EXPECT_FALSE(reply->has_running_job());
}

TEST_F(RequestsTest, ClientsThatVanishBeforeTheirAnswerCostNobodyAnything) {
    constexpr int clients = 30;
    for (int i = 0; i < clients; ++i) {
        RawSocket vanishing(RawSocket::Kind::Dealer);
        vanishing.connect(requests);
        vanishing.sendRequest(getInfo);
    }
    EXPECT_TRUE(api().info());
    EXPECT_TRUE(service().isRunning());
}

TEST_F(RequestsTest, ManyClientsAtOnceAreAllAnswered) {
    constexpr int clients = 8;
    constexpr int each = 50;
    std::atomic<int> answered = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < clients; ++i) {
            threads.emplace_back([&] {
                Api client;
                for (int n = 0; n < each; ++n) {
                    answered += client.info().has_value() ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(answered, clients * each);
}

TEST_F(RequestsTest, OneClientIsAnsweredAgainAndAgain) {
    constexpr int many = 500;
    for (int i = 0; i < many; ++i) {
        ASSERT_TRUE(api().info()) << "request " << i;
    }
}

}  // namespace

}  // namespace tarn::test
