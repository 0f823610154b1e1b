#include <gmock/gmock.h>
#include <google/protobuf/empty.pb.h>

#include <memory>

#include "tests/service/api/ApiBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_service::ApiToServiceRequest;
using testing::ElementsAre;

namespace {

struct Labels {
    ApiToServiceRequest::ApiToServiceRequestType type;
    std::string request;
    std::string reply;
    int threshold = 5;
};

std::string warning(const std::string& label, std::chrono::seconds took, int threshold) {
    return "WARN Api requests handler > " + label +
           " took longer than expected: " + std::to_string(took.count()) + "ms, threshold at " +
           std::to_string(threshold);
}

}  // namespace

/// What a slow request of each kind is called in the log.
class HandlerLabelsTest : public testing::TestWithParam<Labels> {
  protected:
    // What is launched answers at once, so that no submission is waited for.
    HandlerLabelsTest() {
        bed.onCommand([this](const std::string& command) {
            launched = std::make_unique<test::FakeSetupPeer>(test::argumentAfter(command, "-e"),
                                                             nothing, &nothing);
        });
    }

    static constexpr auto somePorts =
        "<Resources><TcpPorts interface=\"127.0.0.1\" from=\"1\" to=\"3\"/></Resources>";

    std::vector<std::string> slownessWarnings() const {
        std::vector<std::string> found;
        for (const auto& line : bed.log.lines()) {
            if (line.find("took longer than expected") != std::string::npos) {
                found.push_back(line);
            }
        }
        return found;
    }

    google::protobuf::Empty nothing;
    std::unique_ptr<test::FakeSetupPeer> launched;
    test::ApiBed bed{somePorts};
};

TEST_P(HandlerLabelsTest, NameTheRequestAndItsReply) {
    const auto& [type, request, reply, threshold] = GetParam();
    const std::chrono::seconds took(threshold + 1);
    bed.start();
    bed.clockStep = took;
    bed.ask(type);
    ASSERT_TRUE(bed.log.waitFor(warning(reply, took, 5)));
    EXPECT_THAT(slownessWarnings(),
                ElementsAre(warning(request, took, threshold), warning(reply, took, 5)));
}

TEST_P(HandlerLabelsTest, AreNotNeededAtTheThresholdItself) {
    bed.start();
    bed.clockStep = 5s;
    bed.ask(GetParam().type);
    bed.clockStep = 0s;
    bed.settle();
    EXPECT_THAT(slownessWarnings(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Requests, HandlerLabelsTest,
    testing::Values(Labels{ApiToServiceRequest::GET_INFO, "GetInfo request ", "GetInfo reply "},
                    Labels{ApiToServiceRequest::JOB_SUBMISSION, "JobSubmission request ",
                           "JobSubmission reply "},
                    Labels{ApiToServiceRequest::ENGINE_SUBMISSION, "EngineSubmission request ",
                           "EngineSubmission reply "},
                    Labels{ApiToServiceRequest::GET_JOBS, "GetJobs request ", "GetJobs reply "},
                    Labels{ApiToServiceRequest::GET_JOB_BY_UUID, "GetJobByUuid request ",
                           "GetJobByUuid reply "},
                    Labels{ApiToServiceRequest::GET_MONITORING_INFO, "GetMonitoringInfo request ",
                           "GetMonitoringInfo reply "},
                    Labels{ApiToServiceRequest::GET_DELTACAST, "GetDeltacast request ",
                           "GetDeltacast reply "},
                    Labels{ApiToServiceRequest::CONFIGURE_DELTACAST, "ConfigureDeltacast request ",
                           "ConfigureDeltacast reply ", 50},
                    Labels{ApiToServiceRequest::LOOP_STORAGE, "LoopStorage request (error) UNKNOWN",
                           "LoopStorage reply"}),
    [](const auto& test) {
        return ApiToServiceRequest::ApiToServiceRequestType_Name(test.param.type);
    });

}  // namespace tarn::service
