#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <nlohmann/json.hpp>

#include "proto/api_service.pb.h"
#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

using nlohmann::json;
using proto::api_service::ApiToServiceRequestConfigureDeltacast;
using proto::api_service::ServiceToApiReplyGetDeltacast;
using proto::deltacast_configuration::DeltacastConfig;
using test::FakeService;
using testing::HasSubstr;

namespace {

DeltacastConfig interlaced() {
    DeltacastConfig config;
    config.set_pixel_format(DeltacastConfig::UYVY422_8);
    config.set_line_count(DeltacastConfig::LINES_1080);
    config.set_field_mode(DeltacastConfig::INTERLACED);
    config.set_frame_rate(DeltacastConfig::RATE_25);
    auto& first = *config.add_inputs();
    first.set_channel(0);
    first.set_frame_offset(0);
    auto& second = *config.add_inputs();
    second.set_channel(3);
    second.set_frame_offset(-1);
    return config;
}

class CaptureCommandsTest : public TarnctlFixture {
  protected:
    using Reply = FakeService::Reply;

    /// The service accepts every format.
    void accept() {
        service.answers(FakeService::Request::CONFIGURE_DELTACAST, [](const auto&) {
            auto reply = std::make_unique<Reply>();
            reply->set_type(Reply::CONFIGURE_DELTACAST);
            reply->set_success(true);
            return reply;
        });
    }

    /// From the `number`-th question on this format is in force; before, there is no device.
    void isInForceFrom(int number, const DeltacastConfig& config) {
        service.answers(FakeService::Request::GET_DELTACAST, [this, number, config](const auto&) {
            auto reply = std::make_unique<Reply>();
            reply->set_type(Reply::GET_DELTACAST);
            reply->set_success(++questions >= number);
            if (reply->success()) {
                auto& part = *reply->MutableExtension(ServiceToApiReplyGetDeltacast::base);
                part = said;
                *part.mutable_config() = config;
            } else {
                reply->set_error_message("No device");
            }
            return reply;
        });
    }

    /// Before the first question.
    void isSaidToBe(ServiceToApiReplyGetDeltacast::State state, const std::string& problem) {
        said.set_state(state);
        if (!problem.empty()) {
            said.set_problem(problem);
        }
    }

    CommandResult set(const std::vector<std::string>& more = {}) {
        std::vector<std::string> line = {"capture",      "set",  "--pixel-format", "uyvy422_8",
                                         "--line-count", "1080", "--field-mode",   "i",
                                         "--frame-rate", "25",   "--input",        "0",
                                         "--input",      "3:-1"};
        line.insert(line.end(), more.begin(), more.end());
        return tarnctl(line);
    }

    std::atomic<int> questions{0};
    ServiceToApiReplyGetDeltacast said;  // but for the format
};

}  // namespace

TEST_F(CaptureCommandsTest, ShowsTheFormatInForce) {
    isInForceFrom(1, interlaced());
    EXPECT_EQ(tarnctl({"capture", "show"}).out,
              "Format  1080i25\nPixels  uyvy422_8\nInputs  0, 3:-1\n");
    EXPECT_EQ(json::parse(tarnctl({"capture", "show", "--json"}).out),
              json({{"pixel_format", "uyvy422_8"},
                    {"line_count", 1080},
                    {"field_mode", "i"},
                    {"frame_rate", 25},
                    {"inputs", json::array({{{"channel", 0}, {"frame_offset", 0}},
                                            {{"channel", 3}, {"frame_offset", -1}}})}}));
}

TEST_F(CaptureCommandsTest, ShowsWhatItDoesNotKnowAsUnknown) {
    isInForceFrom(1, DeltacastConfig());
    EXPECT_EQ(tarnctl({"capture", "show"}).out, "Format  ???\nPixels  ?\nInputs  none\n");
    EXPECT_EQ(json::parse(tarnctl({"capture", "show", "--json"}).out)["frame_rate"], "?");
}

TEST_F(CaptureCommandsTest, ShowSaysThatTheIngestServiceDoesNotRun) {
    isInForceFrom(1, interlaced());
    isSaidToBe(ServiceToApiReplyGetDeltacast::UNREACHABLE, "it has ended");
    EXPECT_EQ(tarnctl({"capture", "show"}).out,
              "State   not running: it has ended\n"
              "Format  1080i25\nPixels  uyvy422_8\nInputs  0, 3:-1\n");
    const auto document = json::parse(tarnctl({"capture", "show", "--json"}).out);
    EXPECT_EQ(document["state"], "not running");
    EXPECT_EQ(document["problem"], "it has ended");
}

TEST_F(CaptureCommandsTest, ShowSaysThatTheIngestServiceRuns) {
    isInForceFrom(1, interlaced());
    isSaidToBe(ServiceToApiReplyGetDeltacast::RUNNING, "");
    EXPECT_THAT(tarnctl({"capture", "show"}).out, testing::StartsWith("State   running\n"));
    EXPECT_FALSE(json::parse(tarnctl({"capture", "show", "--json"}).out).contains("problem"));
}

TEST_F(CaptureCommandsTest, SetDoesNotTakeTheFormatOfADeadIngestServiceForOneInForce) {
    accept();
    isInForceFrom(1, interlaced());
    isSaidToBe(ServiceToApiReplyGetDeltacast::UNREACHABLE, "it has ended");
    const auto run = set({"--wait"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("the ingest service is not running: it has ended"));
}

TEST_F(CaptureCommandsTest, ShowSaysWhyThereIsNone) {
    isInForceFrom(1000, interlaced());
    const auto run = tarnctl({"capture", "show"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: No device\n");
}

TEST_F(CaptureCommandsTest, SetCarriesTheFormat) {
    accept();
    const auto run = set();
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_EQ(run.out, "1080i25 uyvy422_8, inputs 0, 3:-1: accepted\n");
    const auto request = service.lastRequest();
    EXPECT_EQ(request.type(), FakeService::Request::CONFIGURE_DELTACAST);
    EXPECT_EQ(request.GetExtension(ApiToServiceRequestConfigureDeltacast::base)
                  .config()
                  .SerializeAsString(),
              interlaced().SerializeAsString());
    EXPECT_EQ(json::parse(set({"--json"}).out)["state"], "accepted");
}

TEST_F(CaptureCommandsTest, SetSaysWhyItWasRefused) {
    service.answers(FakeService::Request::CONFIGURE_DELTACAST, [](const auto&) {
        auto reply = std::make_unique<Reply>();
        reply->set_type(Reply::CONFIGURE_DELTACAST);
        reply->set_success(false);
        reply->set_error_message("No Deltacast controller configured");
        return reply;
    });
    const auto run = set();
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: No Deltacast controller configured\n");
}

TEST_F(CaptureCommandsTest, SetWaitsUntilTheFormatIsInForce) {
    accept();
    isInForceFrom(3, interlaced());
    const auto run = set({"--wait"});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_EQ(run.out, "1080i25 uyvy422_8, inputs 0, 3:-1: in force\n");
    EXPECT_EQ(questions, 3);
}

TEST_F(CaptureCommandsTest, SetSaysWhatIsInForceInsteadAfterFifteenSeconds) {
    accept();
    auto other = interlaced();
    other.set_frame_rate(DeltacastConfig::RATE_30);
    isInForceFrom(1, other);
    const auto begin = std::chrono::steady_clock::now();
    const auto run = set({"--wait"});
    const auto duration = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err,
              "tarnctl: 1080i25 uyvy422_8, inputs 0, 3:-1 is not in force after 15 s: in force is "
              "1080i30 uyvy422_8, inputs 0, 3:-1\n");
    EXPECT_GE(duration, std::chrono::seconds(15));
    EXPECT_LT(duration, std::chrono::seconds(20));
}

TEST_F(CaptureCommandsTest, SetGivesUpOnAServiceThatIsSilent) {
    accept();
    service.answers(FakeService::Request::GET_DELTACAST, [](const auto&) { return nullptr; });
    EXPECT_EQ(set({"--wait", "--timeout", "0.5"}).status, ExitStatus::NoAnswer);
}

TEST_F(CaptureCommandsTest, SetRefusesWhatIsNoFormat) {
    for (const auto& [option, value] :
         std::vector<std::pair<std::string, std::string>>{{"--pixel-format", "UYVY422_8"},
                                                          {"--line-count", "1081"},
                                                          {"--field-mode", "x"},
                                                          {"--frame-rate", "29.97"},
                                                          {"--input", "x"},
                                                          {"--input", "1:"},
                                                          {"--input", "-1"},
                                                          {"--input", "1:2:3"}}) {
        std::vector<std::string> line = {"capture",      "set", "--pixel-format", "rgb24",
                                         "--line-count", "720", "--field-mode",   "p",
                                         "--frame-rate", "50",  "--input",        "0"};
        *(std::find(line.begin(), line.end(), option) + 1) = value;
        const auto run = tarnctl(line);
        EXPECT_EQ(run.status, ExitStatus::Usage) << option << " " << value;
        EXPECT_THAT(run.err, HasSubstr(option));
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(CaptureCommandsTest, SetNeedsEveryPartOfAFormat) {
    const auto run = tarnctl({"capture", "set", "--pixel-format", "rgb24"});
    EXPECT_EQ(run.status, ExitStatus::Usage);
    EXPECT_THAT(run.err, HasSubstr("--"));
}

}  // namespace tarn::cli
