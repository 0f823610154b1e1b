#include "peers/ingest_service/IngestOptions.h"

#include <gmock/gmock.h>

#include "tests/support/CommandLines.h"

namespace tarn::peers::ingest_service {

using socket::Protocol;
using testing::HasSubstr;

class IngestOptionsTest : public testing::Test {
  protected:
    std::optional<IngestOptions> parse(const std::vector<const char*>& words) {
        return lines.parse(parseIngestOptions, words);
    }

    void expectUsageError(const std::vector<const char*>& words, const std::string& reason) {
        EXPECT_FALSE(parse(words));
        EXPECT_EQ(lines.exitStatus, 2);
        EXPECT_THAT(lines.err, HasSubstr(reason));
    }

    test::CommandLines lines{"KLN-SDI-Ingest-Service"};
};

TEST_F(IngestOptionsTest, HaveDefaults) {
    const auto options = parse({});
    ASSERT_TRUE(options);
    EXPECT_EQ(nameOf(options->format), "1080i25 uyvy422_8");
    ASSERT_EQ(options->channels.size(), 1U);
    EXPECT_EQ(options->endpoints.requests.toString(Protocol::None), "ipc:///tmp/deltacast");
    EXPECT_EQ(options->endpoints.events->toString(Protocol::None), "ipc:///tmp/deltacast-events");
    EXPECT_EQ(options->devicePrefix, "/dev/video");
}

TEST_F(IngestOptionsTest, SayWhatIsShownWithoutASignalAndWhenItIsLost) {
    EXPECT_EQ(parse({})->substitute, Substitute::Bars);
    EXPECT_EQ(parse({})->patience, 25U);
    const std::vector<std::pair<const char*, Substitute>> words = {
        {"bars", Substitute::Bars},
        {"black", Substitute::Black},
        {"freeze", Substitute::Freeze},
        {"nothing", Substitute::Nothing}};
    for (const auto& [word, substitute] : words) {
        const auto options = parse({"--without-signal", word, "--lost-after", "50"});
        ASSERT_TRUE(options) << lines.err;
        EXPECT_EQ(options->substitute, substitute) << word;
        EXPECT_EQ(options->patience, 50U);
    }
    expectUsageError({"--without-signal", "snow"}, "--without-signal");
    expectUsageError({"--lost-after", "1"}, "--lost-after");
    expectUsageError({"--lost-after", "1001"}, "--lost-after");
}

TEST_F(IngestOptionsTest, ASourceIsInThePlaceOfADevice) {
    const auto options = parse({"--source", "udpsrc port=500%channel"});
    ASSERT_TRUE(options) << lines.err;
    EXPECT_EQ(options->source, "udpsrc port=500%channel");
    expectUsageError({"--source", "x", "--test-picture"}, "excludes");
    expectUsageError({"--source", "x", "--device-prefix", "/dev/x"}, "excludes");
}

TEST_F(IngestOptionsTest, TakeTheFormatByNameOrByPlace) {
    for (const auto& words : std::vector<std::vector<const char*>>{
             {"--pixel-format", "rgb24", "--board0-input-list", "1 2 ",
              "--board0-input-frameoffset", "-1 0 ", "--line-count", "720", "--field-mode", "p",
              "--frame-rate", "50"},
             {"rgb24", "1 2 ", "-1 0 ", "720", "p", "50"}}) {
        const auto options = parse(words);
        ASSERT_TRUE(options) << lines.err;
        EXPECT_EQ(nameOf(options->format), "720p50 rgb24");
        ASSERT_EQ(options->channels.size(), 2U);
        EXPECT_EQ(options->channels[1].number, 2U);
        EXPECT_EQ(options->channels[0].frameOffset, -1);
    }
}

TEST_F(IngestOptionsTest, TakeEmptyLists) {
    const auto options = parse({"rgb24", "", "", "720", "p", "50"});
    ASSERT_TRUE(options) << lines.err;
    EXPECT_TRUE(options->channels.empty());
}

TEST_F(IngestOptionsTest, PollOnlyNamesNoEventEndpoint) {
    EXPECT_FALSE(parse({"--poll-only"})->endpoints.events);
    expectUsageError({"--poll-only", "--event-endpoint", "ipc:///tmp/x"}, "--poll-only");
}

TEST_F(IngestOptionsTest, TestPictureLooksForNoDevice) {
    EXPECT_EQ(parse({"--test-picture"})->devicePrefix, "");
}

TEST_F(IngestOptionsTest, RefuseAFormatThatDoesNotExist) {
    expectUsageError({"--line-count", "720"}, "there is no capture format 720i25");
    expectUsageError({"--pixel-format", "yuv"}, "there is no pixel format \"yuv\"");
    expectUsageError({"--board0-input-list", "one"}, "\"one\" is no channel");
    expectUsageError({"--line-count", "many"}, "--line-count");
}

TEST_F(IngestOptionsTest, RefuseASocketPrefixThatIsNoPath) {
    expectUsageError({"--socket-prefix", "relative"}, "absolute path");
    expectUsageError({"--socket-prefix", "/tmp/"}, "absolute path");
    const std::string tooLong = "/" + std::string(100, 'x');
    expectUsageError({"--socket-prefix", tooLong.c_str()}, "absolute path");
}

TEST_F(IngestOptionsTest, HelpEndsWithStatusZero) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
    EXPECT_THAT(lines.out, HasSubstr("--board0-input-list"));
}

}  // namespace tarn::peers::ingest_service
