#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class TarnctlTest : public SystemTest {};

TEST_F(TarnctlTest, SaysAtOnceThatNobodyListens) {
    const auto result = tarnctl({"info", "--timeout", "60"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_LT(result.duration, 30s);
    EXPECT_EQ(result.err, "tarnctl: nobody listens on ipc:///tmp/requests\n");
    const auto overTcp = tarnctl({"info", "--timeout", "60", "--endpoint", "tcp://localhost:5999"});
    EXPECT_EQ(overTcp.exitStatus, 3);
    EXPECT_LT(overTcp.duration, 30s);
    EXPECT_EQ(overTcp.err, "tarnctl: nobody listens on tcp://localhost:5999\n");
}

TEST_F(TarnctlTest, SaysAtOnceThatAServiceWasKilled) {
    startService().killHard();
    const auto result = tarnctl({"info", "--timeout", "60"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_LT(result.duration, 30s);
    EXPECT_EQ(result.err, "tarnctl: nobody listens on ipc:///tmp/requests\n");
    startService();  // takes over what the killed one left
}

TEST_F(TarnctlTest, WaitsForAServiceThatIsBeingStarted) {
    launchService();
    EXPECT_EQ(tarnctl({"info", "--timeout", "20", "--wait-for-service"}).exitStatus, 0);
}

TEST_F(TarnctlTest, ShowsTheService) {
    startService();
    const auto result = tarnctl({"info"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.out.find("TarnService"), std::string::npos) << result.out;
}

TEST_F(TarnctlTest, SubmitsAJobAndWaitsForItsEnd) {
    startService();
    const auto good = tarnctl({"jobs", "submit", "--wait", "--pipeline",
                               "videotestsrc is-live=true num-buffers=30 ! fakesink"});
    EXPECT_EQ(good.exitStatus, 0) << good.out << good.err;
    const auto bad = tarnctl(
        {"jobs", "submit", "--wait", "--pipeline", "videotestsrc ! nosuchelement ! fakesink"});
    EXPECT_EQ(bad.exitStatus, 1) << bad.out << bad.err;
}

TEST_F(TarnctlTest, WaitsForJobsThatAreOverAtOnce) {
    startService();
    for (int i = 0; i < 5; ++i) {
        const auto result = tarnctl(
            {"jobs", "submit", "--wait", "--pipeline", "videotestsrc num-buffers=1 ! fakesink"});
        EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    }
}

TEST_F(TarnctlTest, ListsShowsAndStopsAJob) {
    startService();
    const auto id = utils::UuidGenerator::Generate();
    ASSERT_EQ(tarnctl({"jobs", "submit", "--id", id, "--name", "camera", "--property", "studio=2",
                       "--pipeline", endless})
                  .exitStatus,
              0);
    ASSERT_TRUE(eventually([&] { return isListed(id); }));
    EXPECT_NE(tarnctl({"jobs", "list"}).out.find(id), std::string::npos);
    EXPECT_NE(tarnctl({"jobs", "list", "--property", "studio", "--value", "2"}).out.find(id),
              std::string::npos);
    EXPECT_EQ(tarnctl({"jobs", "list", "--property", "studio", "--value", "3"}).out.find(id),
              std::string::npos);
    const auto shown = tarnctl({"--json", "jobs", "show", id});
    EXPECT_EQ(shown.exitStatus, 0) << shown.err;
    EXPECT_NE(shown.out.find("\"camera\""), std::string::npos) << shown.out;
    EXPECT_EQ(tarnctl({"jobs", "stop", id}).exitStatus, 0);
    EXPECT_TRUE(eventuallyWithin(5s, [&] { return !isListed(id); }));
    EXPECT_EQ(tarnctl({"jobs", "show", id}).exitStatus, 1);
}

TEST_F(TarnctlTest, ListsAJobWhoseTextsAreNoUtf8) {
    startService();
    const std::string bytes = "a\xc0\xaf\xff";
    const auto job = startJob({.pipeline = endless, .id = bytes, .name = bytes});
    ASSERT_TRUE(job);
    const auto listed = api().jobs();
    ASSERT_TRUE(listed && listed->size() == 1);
    EXPECT_EQ(listed->front().id, bytes);
    const auto document = tarnctl({"--json", "jobs", "list"});
    EXPECT_EQ(document.exitStatus, 0) << document.err;
    EXPECT_NE(document.out.find("\"a\ufffd\ufffd\ufffd\""), std::string::npos) << document.out;
    const auto table = tarnctl({"jobs", "list"});
    EXPECT_NE(table.out.find("a\\xc0\\xaf\\xff"), std::string::npos) << table.out;
}

TEST_F(TarnctlTest, ShowsAForgedLineAsAPartOfItsOwn) {
    startService();
    const std::string name = "cam\n2026-11-21 10:00:00,123 FATAL forged\x1b[2J\xc2\x9b";
    const auto id = utils::UuidGenerator::Generate();
    const auto job = startJob(
        {.pipeline = std::string(endless) + " name=\"x\n\xc2\x9b\"", .id = id, .name = name});
    ASSERT_TRUE(job);
    const auto log = tarnctl({"jobs", "log", id});
    EXPECT_NE(log.out.find("fakesink name=\"x\\n\\x9b\""), std::string::npos) << log.out;
    const auto document = tarnctl({"--json", "jobs", "show", id});
    EXPECT_NE(document.out.find("\\n2026-11-21 10:00:00,123 FATAL forged\\u001b[2J\\u009b"),
              std::string::npos)
        << document.out;
    for (const auto& text : {service().log().text(), log.out, document.out}) {
        EXPECT_EQ(text.find("\x1b"), std::string::npos);
        EXPECT_EQ(text.find("\xc2\x9b"), std::string::npos);
        EXPECT_EQ(text.find("\n2026-11-21 10:00:00,123 FATAL"), std::string::npos);
    }
}

}  // namespace

}  // namespace tarn::test
