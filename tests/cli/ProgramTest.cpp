#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>

#include "tests/cli/FakeGateway.h"
#include "tests/cli/FakeService.h"
#include "tests/cli/TarnctlFixture.h"
#include "tests/support/Process.h"
#include "tests/support/peers/FakeJob.h"

// The program as it is built, in a process of its own.
namespace tarn::cli {

using namespace proto::job_monitoring;
using namespace std::chrono_literals;
using nlohmann::json;
using test::FakeJob;
using test::Process;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string program = TARNCTL_PROGRAM;
constexpr auto Apart = Process::Outputs::Apart;

class ProgramTest : public testing::Test {
  protected:
    std::vector<std::string> line(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {program, "--endpoint", service.endpoint()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }

    test::ProcessResult tarnctl(const std::vector<std::string>& arguments) const {
        return test::runProcess(line(arguments));
    }

    /// With a terminal for its output.
    test::ProcessResult onTerminal(const std::string& arguments,
                                   std::map<std::string, std::string> environment = {}) const {
        environment.emplace("TERM", "xterm");
        environment.emplace("NO_COLOR", "");
        return test::runProcess(
            {"script", "-qec", program + " --endpoint " + service.endpoint() + " " + arguments,
             "/dev/null"},
            environment);
    }

    test::FakeService service;
};

}  // namespace

TEST_F(ProgramTest, AnswersWithStatusZero) {
    const auto result = tarnctl({"info"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("TarnService"));
    EXPECT_EQ(result.err, "");
}

TEST_F(ProgramTest, SaysInOneLineThatThereIsNoService) {
    const std::string nobody = test::newEndpoint();
    const auto result = test::runProcess({program, "info", "--endpoint", nobody});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "tarnctl: nobody listens on " + nobody + "\n");
    EXPECT_LT(result.duration, 5s);  // the time-out
}

TEST_F(ProgramTest, WaitsForAServiceWhenItIsToldTo) {
    const std::string nobody = test::newEndpoint();
    const auto result = test::runProcess(
        {program, "info", "--endpoint", nobody, "--timeout", "0.3", "--wait-for-service"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err, "tarnctl: no answer from " + nobody + " within 0.3 s\n");
    EXPECT_GE(result.duration, 300ms);
}

TEST_F(ProgramTest, SaysInOneLineThatTheServiceStaysSilent) {
    service.staysSilent();
    const auto result = tarnctl({"jobs", "list", "--timeout", "0.3"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err, "tarnctl: no answer from " + service.endpoint() + " within 0.3 s\n");
    EXPECT_GE(result.duration, 300ms);
    EXPECT_LT(result.duration, 5s);
}

TEST_F(ProgramTest, HasStatusTwoForAWrongCommandLine) {
    EXPECT_EQ(tarnctl({"jobs", "submit"}).exitStatus, 2);
    EXPECT_EQ(tarnctl({"--nonsense"}).exitStatus, 2);
}

TEST_F(ProgramTest, HasStatusOneForARefusal) {
    EXPECT_EQ(tarnctl({"jobs", "stop", firstId}).exitStatus, 1);
}

TEST_F(ProgramTest, SaysNothingButItsLineAboutGarbage) {
    service.answers(test::FakeService::Request::GET_INFO,
                    [](const auto&) { return test::garbage(); });
    const auto result = tarnctl({"info"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

TEST_F(ProgramTest, WritesJsonThatParsesWhateverTheNames) {
    service.runs(test::runningJob(firstId, "\x1b]0;x\x07\xff\"" + std::string(100'000, 'n')));
    const auto result = tarnctl({"jobs", "list", "--json"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(json::parse(result.out)["running_jobs"].size(), 1U);
    EXPECT_EQ(result.err, "");
}

TEST_F(ProgramTest, FailsWhenItsOutputCannotBeWritten) {
    const auto result =
        test::runProcess({"sh", "-c", "exec \"$0\" --endpoint \"$1\" info > /dev/full", program,
                          service.endpoint()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "tarnctl: cannot write the output\n");
}

TEST_F(ProgramTest, UsesColoursOnATerminalOnly) {
    EXPECT_THAT(onTerminal("info").out, HasSubstr("\x1b[1mService\x1b[0m"));
    EXPECT_THAT(onTerminal("info", {{"NO_COLOR", "1"}}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(onTerminal("info", {{"TERM", "dumb"}}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(tarnctl({"info"}).out, Not(HasSubstr("\x1b")));
}

TEST_F(ProgramTest, ShowsProgressAsLinesWithoutATerminal) {
    FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    job.publishes(test::progressEvent(0.42));
    Process watch(line({"jobs", "watch", "3f2a"}), {}, Apart);
    EXPECT_TRUE(watch.waitForErr("cam1: 42 %, 0:42 of 1:40\n"));
    job.publishes(test::endEvent(JobEventEnd::END_OF_STREAM));
    const auto result = watch.wait();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "job " + firstId + " ended: end of stream\n");
}

TEST_F(ProgramTest, DrawsProgressOnATerminal) {
    FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    job.publishes(test::progressEvent(0.42));
    Process watch({"script", "-qec",
                   program + " --endpoint " + service.endpoint() + " jobs watch 3f2a", "/dev/null"},
                  {{"TERM", "xterm"}});
    EXPECT_TRUE(watch.waitForOut("]  42 %  0:42 / 1:40\x1b[K"));
    job.publishes(test::endBySignal(9));
    const auto result = watch.wait();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, HasSubstr("crashed, signal 9 (SIGKILL)"));
}

TEST_F(ProgramTest, WritesEachEventAsALineOfJson) {
    FakeJob job(firstId, "cam1");
    service.runs(job.entry());
    job.publishes(test::progressEvent(0.42));
    Process watch(line({"jobs", "watch", firstId, "--json"}), {}, Apart);
    EXPECT_TRUE(watch.waitForOut("\n"));
    job.publishes(test::endEvent(JobEventEnd::DESTROYED));
    const auto result = watch.wait();
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(json::parse(result.out.substr(0, result.out.find('\n')))["type"], "PROGRESS");
    const auto last = result.out.rfind('\n', result.out.size() - 2) + 1;
    EXPECT_EQ(json::parse(result.out.substr(last))["type"], "END");
}

TEST_F(ProgramTest, LeavesTheJobAloneOnCtrlC) {
    FakeJob job(firstId, "cam1");
    service.launches(job.entry());
    job.publishes(test::progressEvent(0.42));
    Process submit(line({"jobs", "submit", "--pipeline", "p", "--id", firstId, "--wait"}), {},
                   Apart);
    ASSERT_TRUE(submit.waitForErr("42 %"));
    submit.signal(SIGINT);
    const auto result = submit.wait();
    EXPECT_EQ(result.exitStatus, 130);
    EXPECT_THAT(result.err, HasSubstr("tarnctl: interrupted; job " + firstId + " goes on\n"));
    EXPECT_TRUE(job.requests().empty());
}

TEST_F(ProgramTest, FollowsEventsUntilCtrlC) {
    test::FakeGateway gateway;
    gateway.publishes(test::withAdded(test::numbered(1), "cam1"));
    Process events(line({"events", "--follow", "--events-endpoint", gateway.endpoint()}), {},
                   Apart);
    EXPECT_TRUE(events.waitForOut("added    cam1 (host)\n"));
    gateway.publishes(test::withRemoved(test::numbered(2), "cam1"));
    EXPECT_TRUE(events.waitForOut("removed  cam1 (generic)\n"));
    events.signal(SIGINT);
    const auto result = events.wait();
    EXPECT_EQ(result.exitStatus, 130);
    EXPECT_EQ(result.err, "");
}

TEST_F(ProgramTest, SaysWhenNothingComesAnyMoreAndWhenItComesAgain) {
    auto gateway = std::make_unique<test::FakeGateway>();
    const std::string endpoint = gateway->endpoint();
    Process events(line({"events", "--follow", "--timeout", "0.3", "--events-endpoint", endpoint}));
    EXPECT_TRUE(events.waitForErr("tarnctl: nothing has come from " + endpoint +
                                  " for 0.3 s; is tarnGateway running?\n"));
    gateway.reset();
    gateway = std::make_unique<test::FakeGateway>(endpoint);
    EXPECT_TRUE(events.waitForErr("tarnctl: batches come again\n"));
    events.signal(SIGINT);
    EXPECT_EQ(events.wait().exitStatus, 130);
}

TEST_F(ProgramTest, WatchesTheTreeUntilCtrlC) {
    test::FakeGateway gateway;
    gateway.catchesUpWith(test::treeOf("host-1", "disk full"));
    gateway.publishes(test::withTree(test::numbered(3), test::treeOf("host-1", "disk fuller")));
    Process tree({"script", "-qec",
                  program + " tree --watch --events-endpoint " + gateway.endpoint(), "/dev/null"},
                 {{"TERM", "xterm"}, {"NO_COLOR", ""}});
    EXPECT_TRUE(tree.waitForOut("\x1b[33mwarning: disk full\x1b[0m\x1b[K"));
    EXPECT_TRUE(tree.waitForOut("\x1b[33mwarning: disk fuller\x1b[0m\x1b[K"));
    Process plain(line({"tree", "--watch", "--json", "--events-endpoint", gateway.endpoint()}), {},
                  Apart);
    EXPECT_TRUE(plain.waitForOut("disk fuller"));
    plain.signal(SIGINT);
    const auto result = plain.wait();
    EXPECT_EQ(result.exitStatus, 130);
    EXPECT_EQ(json::parse(result.out.substr(0, result.out.find('\n')))["catch_up"], true);
}

}  // namespace tarn::cli
