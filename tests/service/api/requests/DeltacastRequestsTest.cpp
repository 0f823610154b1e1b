#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "service/devices/capture/DeltacastDeviceController.h"
#include "tests/service/api/ApiBed.h"
#include "tests/service/devices/support/CaptureFormats.h"
#include "tests/service/devices/support/FakeDevice.h"

namespace tarn::service {

using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ApiToServiceRequestConfigureDeltacast;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetDeltacast;

namespace {

std::string sectionsWith(const std::string& endpoint) {
    return "<TarnProtocolDevice type=\"Deltacast\"><MonitoringInterface>" + endpoint +
           "</MonitoringInterface></TarnProtocolDevice>"
           "<DeltacastService><CommandLine>ingest %pixel-format '%board0-input-list' "
           "'%board0-input-frameoffset' %line-count %field-mode %frame-rate</CommandLine>"
           "<DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"
           "<DefaultBoard0InputList>0</DefaultBoard0InputList>"
           "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
           "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
           "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>";
}

ApiToServiceRequest configureRequest() {
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::CONFIGURE_DELTACAST);
    return request;
}

ApiToServiceRequest configureRequest(const test::DeltacastConfig& config) {
    auto request = configureRequest();
    *request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base)->mutable_config() =
        config;
    return request;
}

}  // namespace

class DeltacastRequestsTest : public testing::Test {
  protected:
    /// Nobody answers there unless the device is begun.
    test::FakeDevice device{test::ingestNode("none")};
    test::ApiBed bed{sectionsWith(device.endpoint())};

    void start() {
        std::list<std::string> errors;
        ASSERT_TRUE(bed.devices.initFromConfiguration(errors)) << errors.front();
        bed.start();
    }

    void expectAccepted(const ApiToServiceRequest& request) {
        const auto reply = bed.ask(request);
        EXPECT_EQ(reply.type(), ServiceToApiReply::CONFIGURE_DELTACAST);
        EXPECT_TRUE(reply.success());
        EXPECT_FALSE(reply.has_error_message());
    }
};

TEST(DeltacastRequestsWithoutAControllerTest, AreRefused) {
    test::ApiBed bed;
    bed.start();
    const auto configured = bed.ask(configureRequest(test::progressive720()));
    EXPECT_EQ(configured.type(), ServiceToApiReply::CONFIGURE_DELTACAST);
    EXPECT_FALSE(configured.success());
    EXPECT_EQ(configured.error_message(), "No Deltacast controller configured");
    const auto got = bed.ask(ApiToServiceRequest::GET_DELTACAST);
    EXPECT_EQ(got.type(), ServiceToApiReply::GET_DELTACAST);
    EXPECT_FALSE(got.success());
    EXPECT_EQ(got.error_message(), "No Deltacast controller configured");
}

TEST_F(DeltacastRequestsTest, ConfigureIsAcceptedAndAppliedLater) {
    start();
    expectAccepted(configureRequest(test::progressive720()));
    EXPECT_TRUE(
        bed.log.waitFor("Starting Deltacast service: ingest rgb24 '1 2 ' '0 -1 ' 720 p 50 &"));
    EXPECT_TRUE(bed.log.contains(
        "DEBUG Api requests handler > Handling reconfiguration request: config {"));
    EXPECT_TRUE(bed.log.has("DEBUG Api requests handler > Reconfiguring Deltacast device..."));
    EXPECT_TRUE(bed.log.has("DEBUG Api requests handler > Reconfiguring Deltacast device... DONE"));
}

// While a first one is launched, two more come.
TEST_F(DeltacastRequestsTest, OfTwoConfiguresBeforeTheNextCycleOnlyTheLaterIsApplied) {
    std::promise<void> launching;
    std::promise<void> bothAreThere;
    std::promise<void> launchingAgain;
    bed.onCommand([&, number = 0](const std::string&) mutable {
        if (++number == 1) {
            launching.set_value();
            bothAreThere.get_future().wait_for(std::chrono::seconds(20));
        } else if (number == 2) {
            launchingAgain.set_value();
        }
    });
    device.begin();
    start();
    const auto at50 = test::progressive720();
    auto interlaced = at50;
    interlaced.set_field_mode(test::DeltacastConfig::INTERLACED);
    expectAccepted(configureRequest(at50));
    ASSERT_EQ(launching.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    expectAccepted(configureRequest(interlaced));
    expectAccepted(configureRequest(test::progressive720At60()));
    bothAreThere.set_value();
    ASSERT_EQ(launchingAgain.get_future().wait_for(std::chrono::seconds(20)),
              std::future_status::ready);
    EXPECT_THAT(bed.commands(), testing::ElementsAre("ingest rgb24 '1 2 ' '0 -1 ' 720 p 50 &",
                                                     "ingest rgb24 '1 2 ' '0 -1 ' 720 p 60 &"));
}

TEST_F(DeltacastRequestsTest, ConfigureWithoutAFormatIsAFormatWithoutContent) {
    start();
    auto request = configureRequest();
    request.MutableExtension(ApiToServiceRequestConfigureDeltacast::base);
    expectAccepted(request);
    EXPECT_TRUE(bed.log.waitFor("Starting Deltacast service: ingest uyvy422_8 '' '' 1080 i 60 &"));
    EXPECT_FALSE(bed.log.contains("Invalid reconfiguration request"));
}

TEST_F(DeltacastRequestsTest, ConfigureWithoutItsPartIsWarnedOfAndTheSame) {
    start();
    expectAccepted(configureRequest());
    EXPECT_TRUE(bed.log.has("WARN Api requests handler > Invalid reconfiguration request"));
    EXPECT_TRUE(bed.log.waitFor("Starting Deltacast service: ingest uyvy422_8 '' '' 1080 i 60 &"));
}

TEST_F(DeltacastRequestsTest, ConfigureFillsAFormatUpThatLacksFields) {
    start();
    test::DeltacastConfig incomplete;
    incomplete.set_line_count(test::DeltacastConfig::LINES_576);
    incomplete.add_inputs()->set_channel(3);
    expectAccepted(configureRequest(incomplete));
    EXPECT_TRUE(
        bed.log.waitFor("Starting Deltacast service: ingest uyvy422_8 '3 ' '0 ' 576 i 60 &"));
}

TEST_F(DeltacastRequestsTest, GetGivesTheFormatInForce) {
    device.begin();
    start();
    ASSERT_TRUE(bed.log.waitFor("Changing status from Unreachable to Running"));
    const auto reply = bed.ask(ApiToServiceRequest::GET_DELTACAST);
    EXPECT_EQ(reply.type(), ServiceToApiReply::GET_DELTACAST);
    EXPECT_TRUE(reply.success()) << reply.error_message();
    EXPECT_EQ(reply.GetExtension(ServiceToApiReplyGetDeltacast::base).config().SerializeAsString(),
              test::progressive720().SerializeAsString());
}

TEST_F(DeltacastRequestsTest, GetSaysWhyTheFormatIsNotKnown) {
    start();
    const auto reply = bed.ask(ApiToServiceRequest::GET_DELTACAST);
    EXPECT_EQ(reply.type(), ServiceToApiReply::GET_DELTACAST);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "No device");
    EXPECT_FALSE(reply.GetExtension(ServiceToApiReplyGetDeltacast::base).has_config());
    EXPECT_TRUE(bed.log.has(
        "ERROR Api requests handler > Failed getting Deltacast device properties: No device"));
}

TEST_F(DeltacastRequestsTest, GetWarnsAfterMoreThanFiveSeconds) {
    start();
    bed.clockStep = std::chrono::seconds(6);
    bed.ask(ApiToServiceRequest::GET_DELTACAST);
    EXPECT_TRUE(
        bed.log.waitFor("WARN Api requests handler > GetDeltacast request  took longer "
                        "than expected: 6ms, threshold at 5"));
    EXPECT_TRUE(
        bed.log.waitFor("WARN Api requests handler > GetDeltacast reply  took longer "
                        "than expected: 6ms, threshold at 5"));
}

TEST_F(DeltacastRequestsTest, ConfigureWarnsAfterMoreThanFiftySeconds) {
    start();
    bed.clockStep = std::chrono::seconds(50);
    bed.ask(configureRequest(test::progressive720()));
    EXPECT_TRUE(
        bed.log.waitFor("WARN Api requests handler > ConfigureDeltacast reply  took longer "
                        "than expected: 50ms, threshold at 5"));
    EXPECT_FALSE(bed.log.contains("ConfigureDeltacast request "));
    bed.clockStep = std::chrono::seconds(51);
    bed.ask(configureRequest(test::progressive720()));
    EXPECT_TRUE(
        bed.log.waitFor("WARN Api requests handler > ConfigureDeltacast request  took "
                        "longer than expected: 51ms, threshold at 50"));
}

}  // namespace tarn::service
