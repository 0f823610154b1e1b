#include "peers/job_runtime/launcher/SetupServer.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <stdexcept>

#include "peers/job_runtime/supervision/StopRequest.h"
#include "proto/service_job.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OtherUser.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::service_job;
using Clock = SetupServer::Clock;

/// Takes requests of type SETUP.
struct FakeProtocol : SetupProtocol {
    std::unique_ptr<google::protobuf::Message> newRequest() const override {
        return std::make_unique<ServiceToJobRequest>();
    }
    JobSetup read(const google::protobuf::Message& message) const override {
        const auto& request = dynamic_cast<const ServiceToJobRequest&>(message);
        if (request.type() != ServiceToJobRequest::SETUP) {
            throw std::invalid_argument("no setup");
        }
        JobSetup setup;
        setup.pipeline = request.GetExtension(ServiceToJobRequestSetup::base).job_configuration();
        return setup;
    }
    std::unique_ptr<google::protobuf::Message> makeReply(
        const SetupVerdict& verdict) const override {
        auto reply = std::make_unique<JobToServiceReply>();
        reply->set_success(!verdict.refusal);
        reply->set_error_message(verdict.refusal.value_or(""));
        return reply;
    }
};

struct SetupServerTest : testing::Test {
    static ServiceToJobRequest request(ServiceToJobRequest::Type type) {
        ServiceToJobRequest request;
        request.set_type(type);
        request.MutableExtension(ServiceToJobRequestSetup::base)->set_job_configuration("a ! b");
        return request;
    }

    std::future<JobToServiceReply> asking(ServiceToJobRequest::Type type) const {
        return std::async(std::launch::async,
                          [this, type] { return test::setUp(endpoint, request(type)); });
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    const std::string endpoint = "ipc://" + (folder.path() / "setup").string();
    const FakeProtocol protocol;
    StopRequest stop;
    SetupServer server{endpoint, protocol};
};

TEST_F(SetupServerTest, GivesTheSetupAndSendsTheAnswer) {
    auto reply = asking(ServiceToJobRequest::SETUP);
    const auto setup = server.wait(Clock::now() + 10s, stop);
    ASSERT_TRUE(setup);
    EXPECT_EQ(setup->pipeline, "a ! b");
    server.answer({.refusal = "why", .warning = {}});
    const auto told = reply.get();
    EXPECT_FALSE(told.success());
    EXPECT_EQ(told.error_message(), "why");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "setup"));
}

TEST_F(SetupServerTest, RefusesWhatIsNoSetupAndWaitsOn) {
    auto refused = asking(ServiceToJobRequest::UNKNOWN);
    auto waiting =
        std::async(std::launch::async, [this] { return server.wait(Clock::now() + 20s, stop); });
    EXPECT_EQ(refused.get().error_message(), "no setup");
    EXPECT_TRUE(log.has("WARN Setup refused: no setup"));
    auto accepted = asking(ServiceToJobRequest::SETUP);
    EXPECT_TRUE(waiting.get());
    server.answer({});
    EXPECT_TRUE(accepted.get().success());
}

TEST_F(SetupServerTest, LogsWhatIsNoMessageAndWaitsOn) {
    tarn::socket::Socket hostile("hostile", tarn::socket::ClosePolicy::Flush);
    hostile.createAndConnect(tarn::socket::Protocol::Request,
                             tarn::socket::SocketEndpoint::FromString(endpoint), 5000);
    hostile.sendBytes("\xff\xff\xff");
    auto waiting =
        std::async(std::launch::async, [this] { return server.wait(Clock::now() + 20s, stop); });
    EXPECT_TRUE(log.waitFor("WARN Setup not received: "));
    auto accepted = asking(ServiceToJobRequest::SETUP);
    EXPECT_TRUE(waiting.get());
    server.answer({});
    accepted.get();
}

TEST_F(SetupServerTest, GivesNothingWhenTheDeadlineHasPassedOrAStopIsWished) {
    EXPECT_FALSE(server.wait(Clock::now() + 1ms, stop));
    stop.request(StopRequest::Wish::EndNow);
    const auto begin = Clock::now();
    EXPECT_FALSE(server.wait(begin + 1h, stop));
    EXPECT_LT(Clock::now() - begin, 1h);
}

TEST_F(SetupServerTest, AnAnswerThatNobodyWaitsForIsAWarning) {
    server.answer({});
    EXPECT_TRUE(log.contains("WARN Setup answer not sent: "));
}

// The file of its socket is closed to him, which is not all that keeps him out.
TEST(SetUpByAnotherUserTest, IsRefusedAndWaitingGoesOn) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    namespace fs = std::filesystem;
    const test::TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::all);
    const auto path = folder.path() / "setup";
    const auto open = folder.path() / "open";
    // He is made before there are threads, and waits until he is let in.
    const auto other = ::fork();
    if (other == 0) {
        ::_exit(test::eventually([&] { return fs::exists(open); }) &&
                        test::doneAs({},
                                     [&] {
                                         const auto reply = test::setUp(
                                             "ipc://" + path.string(),
                                             SetupServerTest::request(ServiceToJobRequest::SETUP));
                                         return !reply.success() &&
                                                reply.error_message() ==
                                                    "Access denied: only user root (0) and root "
                                                    "set this job up, not user 61001";
                                     })
                    ? 0
                    : 1);
    }
    const test::LogCapture log;
    const FakeProtocol protocol;
    StopRequest stop;
    SetupServer server("ipc://" + path.string(), protocol);
    fs::permissions(path, fs::perms::all);
    folder.write("open", "");
    auto waiting =
        std::async(std::launch::async, [&] { return server.wait(Clock::now() + 30s, stop); });
    int status = -1;
    ::waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(log.contains("WARN Setup refused: Access denied: "));
    stop.request(StopRequest::Wish::EndNow);
    EXPECT_FALSE(waiting.get());
}

}  // namespace
}  // namespace tarn::peers
