#include "cli/events/TreeWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/client/ServiceClient.h"
#include "cli/output/Output.h"
#include "tests/cli/FakeGateway.h"
#include "tests/cli/FakeService.h"

namespace tarn::cli {

using nlohmann::json;
using proto::service_event::ServiceEventBatch;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using Finding = BatchSequence::Finding;

namespace {

const Finding inOrder = {.kind = Finding::Kind::Batch};
const Finding afterALoss = {.kind = Finding::Kind::Batch, .lost = 2};

class TreeWatchTest : public testing::Test {
  protected:
    /// What one batch makes it write.
    std::string written(TreeWatch& watch, const ServiceEventBatch& batch,
                        const Finding& finding = inOrder) {
        out.str("");
        EXPECT_EQ(watch.batch(batch, finding), BatchListener::Wanted::More);
        return out.str();
    }

    static ServiceEventBatch batchWith(const std::string& description) {
        return test::withTree(test::numbered(7), test::treeOf("host-1", description));
    }

    test::FakeService service;
    ServiceClient client{socket::SocketEndpoint::FromString(service.endpoint()),
                         std::chrono::seconds(10)};
    std::ostringstream out;
    std::ostringstream err;
    Output output{out, err, Terminal()};
    Output screen{out, err, {.display = Display::Redraws, .columns = 30, .lines = 5}};
    TreeOptions options;
    const Session text{client, output, Format::Text};
    const Session drawn{client, screen, Format::Text};
    const Session lines{client, output, Format::Json};
};

}  // namespace

TEST_F(TreeWatchTest, DrawsTheTreeOfEachBatch) {
    TreeWatch watch(options, text);
    EXPECT_THAT(written(watch, batchWith("disk full")),
                MatchesRegex("[0-9:.]+  \nSystem .system.\n.*disk full\n.*cpu0  ok\n.*12.5\n"));
    EXPECT_THAT(written(watch, batchWith("disk fuller")), HasSubstr("disk fuller"));
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(TreeWatchTest, ABatchWithoutATreeChangesNothing) {
    TreeWatch watch(options, text);
    written(watch, batchWith("disk full"));
    EXPECT_EQ(written(watch, test::numbered(8)), "");
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(TreeWatchTest, TheServiceIsAskedWhereTheGatewayKnowsNoTree) {
    service.watches(test::treeOf("host-1", "asked"));
    TreeWatch watch(options, text);
    EXPECT_THAT(written(watch, {}, {.kind = Finding::Kind::CatchUp}), HasSubstr("asked"));
    EXPECT_EQ(service.requests().size(), 1U);
}

TEST_F(TreeWatchTest, TheServiceIsAskedWhenATreeMayHaveBeenLost) {
    service.watches(test::treeOf("host-1", "asked"));
    TreeWatch watch(options, text);
    written(watch, batchWith("disk full"));
    EXPECT_THAT(written(watch, test::numbered(10), afterALoss), HasSubstr("asked"));
    EXPECT_THAT(
        written(watch, test::numbered(1), {.kind = Finding::Kind::CatchUp, .otherGateway = true}),
        HasSubstr("asked"));
    EXPECT_EQ(service.requests().size(), 2U);
    EXPECT_THAT(written(watch, batchWith("newer"), afterALoss), HasSubstr("newer"));
    EXPECT_EQ(service.requests().size(), 2U);
}

TEST_F(TreeWatchTest, AServiceThatDoesNotAnswerIsSaidOnceAndAskedAgain) {
    service.staysSilent();
    ServiceClient impatient{socket::SocketEndpoint::FromString(service.endpoint()),
                            std::chrono::milliseconds(10)};
    const Session session{impatient, output, Format::Text};
    TreeWatch watch(options, session);
    EXPECT_EQ(written(watch, test::numbered(8)), "");
    EXPECT_EQ(written(watch, test::numbered(9)), "");
    EXPECT_EQ(err.str(), "tarnctl: no answer from " + service.endpoint() + " within 0.01 s\n");
    EXPECT_THAT(written(watch, batchWith("there")), HasSubstr("there"));
}

TEST_F(TreeWatchTest, RedrawsInPlaceAndCutsWhatHasNoRoom) {
    TreeWatch watch(options, drawn);
    const auto first = written(watch, batchWith("a description that is too long"));
    EXPECT_THAT(first, StartsWith("\x1b[H"));
    EXPECT_THAT(first, HasSubstr("└─ host-1 \"Studio 1\" (host)  …\x1b[K\n"));
    EXPECT_THAT(first, HasSubstr("... and 2 more lines\x1b[K\n\x1b[J"));
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 4);
}

TEST_F(TreeWatchTest, NoticesAreOnTheScreenWhereThatIsRedrawn) {
    TreeWatch watch(options, drawn);
    written(watch, batchWith("x"));
    out.str("");
    watch.notice("3 batches were lost");
    EXPECT_THAT(out.str(), MatchesRegex("\x1b\\[H[0-9:.]+  3 batches were\x1b?.*\n.*\n.*\n.*\n.*"));
    EXPECT_EQ(err.str(), "");
}

TEST_F(TreeWatchTest, FollowsOneDeviceAlsoWhileItIsAway) {
    options.id = "cpu0";
    TreeWatch watch(options, text);
    EXPECT_THAT(written(watch, batchWith("x")), MatchesRegex("[0-9:.]+  \ncpu0  ok\n.*12.5\n"));
    EXPECT_THAT(written(watch, test::withTree({}, {})), HasSubstr("\nno device cpu0\n"));
    EXPECT_THAT(written(watch, batchWith("x")), HasSubstr("cpu0  ok"));
}

TEST_F(TreeWatchTest, WritesALineABatch) {
    TreeWatch watch(options, lines);
    const auto document =
        json::parse(written(watch, test::withAdded(batchWith("x"), "host-1"), afterALoss));
    EXPECT_EQ(document["sequence"], "7");
    EXPECT_EQ(document["lost"], "2");
    EXPECT_EQ(document["device_tree"]["id"], "System");
    EXPECT_EQ(document["events"][0]["content"]["device_id"], "host-1");
    options.id = "away";
    EXPECT_FALSE(json::parse(written(watch, batchWith("x"))).contains("device_tree"));
    EXPECT_EQ(written(watch, test::numbered(8)), "");
}

}  // namespace tarn::cli
