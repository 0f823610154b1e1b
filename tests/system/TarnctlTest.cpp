#include "platform/utils/UuidGenerator.h"
#include "tests/support/Process.h"
#include "tests/system/Eventually.h"
#include "tests/system/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

ProcessResult tarnctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/opt/halden/halden-tarn-service/bin/tarnctl");
    return runProcess(arguments);
}

class Tarnctl : public SystemTest {};

TEST_F(Tarnctl, saysThatNobodyAnswersWithinTheTimeout) {
    const auto result = tarnctl({"info", "--timeout", "0.3"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_LT(result.duration, 3s);
    EXPECT_NE(result.err.find("ipc:///tmp/requests"), std::string::npos) << result.err;
}

TEST_F(Tarnctl, showsTheService) {
    startService();
    const auto result = tarnctl({"info"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.out.find("TarnService"), std::string::npos) << result.out;
}

TEST_F(Tarnctl, submitsAJobAndWaitsForItsEnd) {
    startService();
    const auto good = tarnctl({"jobs", "submit", "--wait", "--pipeline",
                               "videotestsrc is-live=true num-buffers=30 ! fakesink"});
    EXPECT_EQ(good.exitStatus, 0) << good.out << good.err;
    const auto bad = tarnctl(
        {"jobs", "submit", "--wait", "--pipeline", "videotestsrc ! nosuchelement ! fakesink"});
    EXPECT_EQ(bad.exitStatus, 1) << bad.out << bad.err;
}

TEST_F(Tarnctl, waitsForJobsThatAreOverAtOnce) {
    startService();
    for (int i = 0; i < 5; ++i) {
        const auto result = tarnctl(
            {"jobs", "submit", "--wait", "--pipeline", "videotestsrc num-buffers=1 ! fakesink"});
        EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    }
}

TEST_F(Tarnctl, listsShowsAndStopsAJob) {
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

}  // namespace

}  // namespace tarn::test
