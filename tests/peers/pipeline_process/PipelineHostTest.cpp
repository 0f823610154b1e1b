#include "peers/pipeline_process/PipelineHost.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "proto/pipeline_control.pb.h"
#include "tests/support/peers/LoopbackSender.h"

namespace tarn::peers {
namespace {

using tarn::proto::pipeline_control::PipelineCommand;
using tarn::proto::pipeline_control::PipelineReport;

// The test is the launcher. Its end of the channel stays open until the host has ended.
struct PipelineHostTest : testing::Test {
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    ~PipelineHostTest() override {
        host.join();
        EXPECT_EQ(status, expectedStatus);
    }

    void command(PipelineCommand::Type type) {
        PipelineCommand command;
        command.set_type(type);
        channel.send(command);
    }
    void parse(const std::string& pipeline) {
        PipelineCommand command;
        command.set_type(PipelineCommand::PARSE);
        command.set_pipeline(pipeline);
        auto* const variable = command.add_environment();
        variable->set_name("TARN_HOST_TEST");
        variable->set_value("7");
        channel.send(command);
    }

    void parseInCell(const std::string& pipeline, const tarn::service::proto::JobCell& cell) {
        PipelineCommand command;
        command.set_type(PipelineCommand::PARSE);
        command.set_pipeline(pipeline);
        *command.mutable_cell() = cell;
        channel.send(command);
    }

    PipelineReport next() {
        PipelineReport report;
        auto input = MessageChannel::Input::Open;
        while (!channel.next(report)) {
            pollfd readable{.fd = channel.descriptor(), .events = POLLIN, .revents = 0};
            if (input == MessageChannel::Input::Closed || ::poll(&readable, 1, 10'000) != 1) {
                ADD_FAILURE() << "no report";
                break;
            }
            input = channel.read();
        }
        return report;
    }
    PipelineReport nextOf(PipelineReport::Type type) {
        auto report = next();
        while (report.type() != type && report.type() != PipelineReport::UNKNOWN) {
            report = next();
        }
        return report;
    }

    std::pair<os::FileDescriptor, os::FileDescriptor> ends = MessageChannel::makePair();
    MessageChannel channel{std::move(ends.first), MessageChannel::maxReportBytes};
    // This process is to stay free: what it was to enter is kept.
    std::optional<cell::Cell> entered;
    cell::CellReport became{.built = "four walls", .missing = {}, .notes = {}};
    EnterCell enter = [this](const cell::Cell& wanted) {
        entered = wanted;
        return became;
    };
    int status = -1;
    int expectedStatus = 0;
    std::thread host{[this] { status = PipelineHost(std::move(ends.second), enter).run(); }};
};

TEST_F(PipelineHostTest, GoesThroughItsStepsToTheEndOfTheStream) {
    parse("videotestsrc num-buffers=3 ! fakesink");
    EXPECT_EQ(next().type(), PipelineReport::PARSED);
    EXPECT_STREQ(std::getenv("TARN_HOST_TEST"), "7");
    command(PipelineCommand::PREPARE);
    EXPECT_EQ(next().type(), PipelineReport::PREPARED);
    command(PipelineCommand::PLAY);
    EXPECT_EQ(next().type(), PipelineReport::PLAYING);
    EXPECT_EQ(next().type(), PipelineReport::PROGRESS);
    EXPECT_EQ(nextOf(PipelineReport::END_OF_STREAM).type(), PipelineReport::END_OF_STREAM);
}

TEST_F(PipelineHostTest, TheCellIsEnteredBeforeTheTextIsLookedAt) {
    parseInCell("videotestsrc ! fakesink", {});
    const auto report = next();
    EXPECT_EQ(report.type(), PipelineReport::PARSED);
    EXPECT_EQ(report.cell(), "four walls");
    EXPECT_TRUE(entered);
    command(PipelineCommand::FINISH);
    EXPECT_EQ(next().type(), PipelineReport::END_OF_STREAM);
}

TEST_F(PipelineHostTest, APipelineWhoseCellLacksSomethingIsNotBuiltWhereThatIsRequired) {
    expectedStatus = 1;
    became.missing = {"a door"};
    tarn::service::proto::JobCell cell;
    cell.set_required(true);
    parseInCell("videotestsrc ! nosuchsink", cell);
    const auto report = next();
    EXPECT_EQ(report.type(), PipelineReport::FAILURE);
    EXPECT_EQ(report.message(), "the job's cell cannot be built: a door");
}

TEST_F(PipelineHostTest, APipelineThatWritesElsewhereIsNotBuilt) {
    expectedStatus = 1;
    tarn::service::proto::JobCell cell;
    cell.set_folders_are_named(true);
    cell.add_write_folders("/srv");
    parseInCell("videotestsrc ! filesink name=out location=/tmp/x", cell);
    const auto report = next();
    EXPECT_EQ(report.type(), PipelineReport::FAILURE);
    EXPECT_EQ(report.message(), "out: /tmp/x is not below a folder that jobs may write to");
}

TEST_F(PipelineHostTest, FinishingWhatHasNotPlayedIsTheEnd) {
    parse("videotestsrc ! fakesink");
    EXPECT_EQ(next().type(), PipelineReport::PARSED);
    command(PipelineCommand::FINISH);
    EXPECT_EQ(next().type(), PipelineReport::END_OF_STREAM);
}

TEST_F(PipelineHostTest, FinishingOnTheWayToPlayingIsTheEndToo) {
    parse("videotestsrc is-live=true ! fakesink");
    command(PipelineCommand::PREPARE);
    command(PipelineCommand::PLAY);
    command(PipelineCommand::FINISH);
    EXPECT_EQ(nextOf(PipelineReport::END_OF_STREAM).type(), PipelineReport::END_OF_STREAM);
}

TEST_F(PipelineHostTest, AnUnknownCommandIsPassedOver) {
    parse("videotestsrc ! fakesink");
    EXPECT_EQ(next().type(), PipelineReport::PARSED);
    command(PipelineCommand::UNKNOWN);
    command(PipelineCommand::FINISH);
    EXPECT_EQ(next().type(), PipelineReport::END_OF_STREAM);
}

TEST_F(PipelineHostTest, AFailureOfAnElementIsReportedWithMessageAndDetail) {
    expectedStatus = 1;
    parse("videotestsrc ! identity error-after=2 ! fakesink");
    command(PipelineCommand::PREPARE);
    command(PipelineCommand::PLAY);
    const auto failure = nextOf(PipelineReport::FAILURE);
    EXPECT_EQ(failure.message().substr(0, 10), "identity0:");
    EXPECT_FALSE(failure.detail().empty());
}

TEST_F(PipelineHostTest, ALiveStreamThatEndsUnaskedIsAFailure) {
    expectedStatus = 1;
    tarn::test::LoopbackSender sender;
    parse("tcpclientsrc name=feed host=127.0.0.1 port=" + std::to_string(sender.port()) +
          " ! fakesink");
    command(PipelineCommand::PREPARE);
    command(PipelineCommand::PLAY);
    EXPECT_TRUE(sender.serveNext("hello"));
    sender.hangUp();
    EXPECT_EQ(nextOf(PipelineReport::FAILURE).message(),
              "feed: the live stream has ended, and nobody asked for it");
}

TEST_F(PipelineHostTest, ATextThatIsNoPipelineIsAFailure) {
    expectedStatus = 1;
    parse("nosuchelement");
    const auto failure = next();
    EXPECT_EQ(failure.type(), PipelineReport::FAILURE);
    EXPECT_EQ(failure.message(), "no element \"nosuchelement\"");
}

}  // namespace
}  // namespace tarn::peers
