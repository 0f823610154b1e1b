#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/utils/EscapedText.h"
#include "platform/utils/Log.h"
#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetJobs;

class ApiServerTest : public testing::Test {
  protected:
    ApiServerTest() { bed.start(); }

    // Raw bytes in a message of any type: its unknown fields.
    static ApiToServiceRequest fromBytes(const std::string& bytes) {
        ApiToServiceRequest request;
        EXPECT_TRUE(request.ParsePartialFromString(bytes));
        return request;
    }

    static ApiToServiceRequest requestOf(ApiToServiceRequest::ApiToServiceRequestType type) {
        ApiToServiceRequest request;
        request.set_type(type);
        return request;
    }

    test::ApiBed bed;
};

TEST_F(ApiServerTest, TracesEachRequest) {
    EXPECT_EQ(bed.ask(ApiToServiceRequest::GET_INFO).type(), ServiceToApiReply::INFO);
    EXPECT_TRUE(bed.log.has("TRACE Api requests handler > Received type: GET_INFO\n"));
    EXPECT_TRUE(bed.log.contains("TRACE Api requests handler > Receiving on RequestHandlerSocket"));
}

TEST_F(ApiServerTest, DoesNotAnswerTypesThatItDoesNotServeAndLogsOnlyThatTheyCame) {
    bed.settle();
    const auto before = bed.log.lines().size();
    bed.client.setTimeout(std::chrono::milliseconds(100));
    std::vector<std::string> expected;
    for (const std::string type : {"\x08\x00", "\x08\x02", "\x08\x08", "\x08\x7f", ""}) {
        const auto request = fromBytes(type.empty() ? type : std::string(type.c_str(), 2));
        expected.push_back(
            utils::escapeForLog("TRACE Api requests handler > Received " + request.DebugString()));
        bed.send(request);
        ServiceToApiReply reply;
        EXPECT_THROW(bed.client.receiveProtoBuf(&reply, 1000), std::runtime_error);
    }
    ASSERT_TRUE(bed.log.waitFor(expected.back()));
    auto lines = bed.log.lines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(lines, expected);
    bed.client.setTimeout(std::chrono::seconds(5));
    bed.settle();
}

TEST_F(ApiServerTest, TakesAMissingExtensionForAnEmptyOne) {
    const auto reply = bed.ask(ApiToServiceRequest::GET_JOBS);
    EXPECT_TRUE(reply.success());
    EXPECT_TRUE(reply.HasExtension(ServiceToApiReplyGetJobs::base));
}

TEST_F(ApiServerTest, LogsWhatItCannotParseAndServesTheNext) {
    tarn::proto::job_monitoring::JobDescription garbage;
    garbage.set_name("\xff\xff\xff");  // field 1 with length-delimited bytes is no request type
    bed.client.sendProtoBuf(&garbage);
    bed.settle();  // an unknown wire type for a known field is skipped: no answer, no harm

    socket::Socket other("other", socket::ClosePolicy::Discard);
    ApiToServiceRequest huge;
    huge.MutableExtension(tarn::proto::api_service::ApiToServiceRequestJobSubmission::base)
        ->set_job_configuration(std::string(10485761, 'x'));
    bed.send(huge);
    EXPECT_TRUE(bed.log.waitFor("ERROR Api requests handler > Failed receiving API request: "));
    bed.settle();
}

namespace {

/// A sink that fails for lines that hold a text.
class FaultySink : public utils::LogSink {
  public:
    FaultySink(std::string part, std::shared_ptr<utils::LogSink> sound)
        : part(std::move(part)), sound(std::move(sound)) {}
    bool isEnabled(utils::LogLevel) const override { return true; }
    void write(utils::LogLevel level, const std::string& message) override {
        if (message.find(part) != std::string::npos) {
            throw std::logic_error("no line like this");
        }
        sound->write(level, message);
    }

  private:
    const std::string part;
    const std::shared_ptr<utils::LogSink> sound;
};

}  // namespace

TEST_F(ApiServerTest, SurvivesWhateverIsThrownWhileReceiving) {
    const auto sound = utils::setLogSink(nullptr);
    utils::setLogSink(std::make_shared<FaultySink>("Received type: GET_INFO", sound));
    bed.send(requestOf(ApiToServiceRequest::GET_INFO));
    EXPECT_TRUE(bed.log.waitFor(
        "ERROR Api requests handler > Failed receiving API request: no line like this"));
    utils::setLogSink(sound);
    EXPECT_TRUE(bed.ask(ApiToServiceRequest::GET_INFO).success());
}

TEST_F(ApiServerTest, AnswersWhatAHandlerThrows) {
    const auto sound = utils::setLogSink(nullptr);
    utils::setLogSink(std::make_shared<FaultySink>("Failed to get running jobs", sound));
    std::string error;
    ASSERT_TRUE(bed.proxy.disconnect(error));
    const auto reply = bed.ask(ApiToServiceRequest::GET_JOBS);
    utils::setLogSink(sound);
    EXPECT_EQ(reply.type(), ServiceToApiReply::GET_JOBS);
    EXPECT_TRUE(reply.has_success());
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "no line like this");
    EXPECT_TRUE(
        bed.log.has("ERROR Api requests handler > Failed handling API request: no line like this"));
    EXPECT_TRUE(bed.ask(ApiToServiceRequest::GET_INFO).success());
}

TEST_F(ApiServerTest, OutlivesAClientThatDoesNotWaitForItsAnswer) {
    {
        socket::Socket other("other", socket::ClosePolicy::Flush);
        other.createAndConnect(socket::Protocol::Request,
                               socket::SocketEndpoint::FromString(bed.endpoint), 5000);
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::GET_INFO);
        for (int i = 0; i < 100; ++i) {
            other.sendProtoBuf(&request);
        }
    }
    bed.settle();
}

}  // namespace tarn::service
