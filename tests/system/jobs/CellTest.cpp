#include <gmock/gmock.h>

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using End = Job::End;

constexpr auto media = "/tmp/jobs/media";
constexpr auto recordings = "/tmp/jobs/recordings";

class CellsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        fs::create_directories(media);
        fs::create_directories(recordings);
        fs::permissions(recordings, fs::perms::all);  // also for a user of the jobs' own
        startServiceWith("<User>" + user() + "</User>");
    }

    virtual std::string user() const { return "no-such-user"; }

    void startServiceWith(const std::string& settings) {
        configureSections(std::string("<KLN><Plugin>") + TARN_EXPLOIT_PLUGIN +
                          "</Plugin></KLN><Jobs><ReadFolder>" + media +
                          "</ReadFolder><WriteFolder>" + recordings + "</WriteFolder>" + settings +
                          "</Jobs>");
        startService();
    }

    static std::string logOf(const Job& job) {
        const auto status = job.status();
        return status ? readFile(status->log_file()) : "";
    }

    /// What came of each line of the script, by line.
    std::map<std::string, std::string> exploit(const std::string& script,
                                               const std::string& further = {}) {
        const auto job = startJob({.pipeline = std::string(endless) + " tarnexploit script=\"" +
                                               script + "\" " + further});
        EXPECT_TRUE(
            eventually([&] { return logOf(*job).find("exploit: over") != std::string::npos; }));
        std::istringstream log(logOf(*job));
        std::map<std::string, std::string> outcomes;
        const std::string mark = "exploit: ";
        for (std::string line; std::getline(log, line);) {
            const auto begin = line.find(mark);
            const auto colon = line.rfind(": ");
            // The job's log begins with its pipeline, and so with the script.
            if (begin != std::string::npos && line.find("script=") == std::string::npos &&
                colon > begin + mark.size()) {
                outcomes[line.substr(begin + mark.size(), colon - begin - mark.size())] =
                    line.substr(colon + 2);
            }
        }
        EXPECT_TRUE(job->destroy());
        return outcomes;
    }
};

std::string processOf(const std::string& program) {
    const auto found = processesRunning(program);
    EXPECT_FALSE(found.empty()) << program;
    return found.empty() ? "0" : std::to_string(found.front().id);
}

TEST_F(CellsTest, AnIntruderReadsNothingOfTheServiceAndOfOtherJobs) {
    const auto other =
        startJob({.pipeline = endless, .persistent = true, .persistentName = "other"});
    const auto log = other->status()->log_file();
    ASSERT_TRUE(fs::exists("/usr/share/TarnJobs/other"));
    ASSERT_TRUE(fs::exists("/run/halden-tarn"));
    const std::vector<std::string> lines = {
        "read /etc/TarnConfiguration.xml",
        "read /etc/shadow",
        "list /etc",
        "list /run",
        "list /run/halden-tarn",
        "list /usr/share/TarnJobs",
        "read /usr/share/TarnJobs/other",
        "write /usr/share/TarnJobs/new",
        "remove /usr/share/TarnJobs/other",
        "read /opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config",
        "list /var/log",
        "read " + log,
        "write " + log,
        "list /tmp",
        "remove /tmp/requests",
        "remove " + other->where().commandEndpoint.substr(std::string("ipc://").size()),
        "write /tmp/somewhere",
        "write /etc/cron.d/job",
    };
    std::string script;
    for (const auto& line : lines) {
        script += line + ";";
    }
    const auto outcomes = exploit(script);
    for (const auto& line : lines) {
        const auto found = outcomes.find(line);
        ASSERT_NE(found, outcomes.end()) << line;
        EXPECT_EQ(found->second, "EACCES") << line;
    }
    EXPECT_TRUE(fs::exists("/usr/share/TarnJobs/other"));
    EXPECT_TRUE(other->destroy());
}

TEST_F(CellsTest, AnIntruderReachesNoSocketAndNoOtherProcess) {
    const auto other = startJob({.pipeline = endless});
    const auto service = processOf("TarnService");
    const auto launcher = processOf("tarnWorkflowLauncher");
    const auto pipeline = std::to_string(other->status()->pipeline_pid());
    std::vector<std::string> lines = {"connect /tmp/requests", "connect /tmp/resource",
                                      "namespace"};
    for (const auto& endpoint : {other->where().commandEndpoint, other->where().eventEndpoint}) {
        lines.push_back("connect " + endpoint.substr(std::string("ipc://").size()));
    }
    for (const auto& process : {service, launcher, pipeline}) {
        for (const auto* const verb : {"ask ", "end ", "remember "}) {
            lines.push_back(verb + process);
        }
#ifndef TARN_SANITIZED
        lines.push_back("trace " + process);
#endif
    }
    std::string script = "list /proc;read /proc/" + service + "/cmdline;";
    for (const auto& line : lines) {
        script += line + ";";
    }
    auto outcomes = exploit(script);
    EXPECT_EQ(outcomes["list /proc"], "EACCES");
    EXPECT_EQ(outcomes["read /proc/" + service + "/cmdline"], "EACCES");
    for (const auto& line : lines) {
        EXPECT_EQ(outcomes[line], "EPERM") << line;
    }
    EXPECT_TRUE(isListed(other->id()));
    EXPECT_TRUE(other->destroy());
}

TEST_F(CellsTest, AnIntruderWritesWhereJobsWriteAndReadsWhereTheyRead) {
    std::ofstream(std::string(media) + "/clip") << "frames";
    auto outcomes = exploit(
        "read /tmp/jobs/media/clip;write /tmp/jobs/media/clip;"
        "remove /tmp/jobs/media/clip;write /tmp/jobs/recordings/new;"
        "read /etc/ld.so.cache;write /etc/ld.so.cache");
    EXPECT_EQ(outcomes["read /tmp/jobs/media/clip"], "done");
    EXPECT_EQ(outcomes["write /tmp/jobs/media/clip"], "EACCES");
    EXPECT_EQ(outcomes["remove /tmp/jobs/media/clip"], "EACCES");
    EXPECT_EQ(outcomes["write /tmp/jobs/recordings/new"], "done");
    EXPECT_EQ(outcomes["read /etc/ld.so.cache"], "done");
    EXPECT_EQ(outcomes["write /etc/ld.so.cache"], "EACCES");
}

TEST_F(CellsTest, AJobRecordsBelowItsFolderAndIsRefusedElsewhere) {
    const auto job = startJob({.pipeline = "videotestsrc is-live=true num-buffers=60 ! "
                                           "filesink location=/tmp/jobs/recordings/result"});
    const auto end = job->waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), End::END_OF_STREAM);
    EXPECT_GT(fs::file_size("/tmp/jobs/recordings/result"), 0u);
    ASSERT_TRUE(api().submit(
        {.pipeline = "videotestsrc ! filesink name=out location=/tmp/jobs/recordings/../x"}));
    EXPECT_TRUE(waitForRefusal("out: /tmp/jobs/recordings/../x is not below a folder"));
    EXPECT_FALSE(fs::exists("/tmp/jobs/x"));
}

TEST_F(CellsTest, AnElementThatIsRefusedIsNamed) {
    ASSERT_TRUE(api().submit({.pipeline = "videotestsrc ! fdsink"}));
    EXPECT_TRUE(waitForRefusal("no element \"fdsink\"; the configuration refuses fdsink"));
}

TEST_F(CellsTest, TheJobsLogSaysWhatItsCellIsMadeOf) {
    const auto job = startJob({.pipeline = endless});
    EXPECT_THAT(logOf(*job), HasSubstr("Cell: "));
    EXPECT_THAT(logOf(*job), HasSubstr("no capabilities"));
    EXPECT_THAT(logOf(*job), HasSubstr("it goes on as user"));
    EXPECT_TRUE(job->destroy());
}

class CellsOfAnotherUserTest : public CellsTest {
  protected:
    std::string user() const override { return "nobody"; }

    void SetUp() override {
        CellsTest::SetUp();
        job = startJob({.pipeline = endless});
        if (logOf(*job).find("user nobody") == std::string::npos) {
            EXPECT_TRUE(job->destroy());
            GTEST_SKIP() << "there is one user here: " << logOf(*job);
        }
    }

    std::unique_ptr<Job> job;
};

TEST_F(CellsOfAnotherUserTest, AnIntruderIsKeptOutBySocketFilesToo) {
    // With shared memory in its pipeline it may open Unix sockets.
    auto outcomes = exploit("connect /tmp/requests;connect /tmp/resource;write " +
                                std::string(recordings) + "/new;read /proc/self/status",
                            "videotestsrc name=shm ! fakesink");
    EXPECT_EQ(outcomes["connect /tmp/requests"], "EACCES");
    EXPECT_EQ(outcomes["connect /tmp/resource"], "EACCES");
    EXPECT_EQ(outcomes["write /tmp/jobs/recordings/new"], "done");
    EXPECT_EQ(outcomes["read /proc/self/status"], "done");
    EXPECT_TRUE(job->destroy());
}

TEST_F(CellsOfAnotherUserTest, AJobEndsWhenItIsAskedToAndWithItsLauncher) {
    EXPECT_TRUE(job->destroy());
    EXPECT_EQ(job->waitForEnd()->reason(), End::DESTROYED);
    ASSERT_TRUE(eventually([] { return processesRunning("tarnWorkflowLauncher").empty(); }));
    const auto other = startJob({.pipeline = endless});
    const auto launchers = processesRunning("tarnWorkflowLauncher");
    ASSERT_FALSE(launchers.empty());
    for (const auto& launcher : launchers) {
        ::kill(launcher.id, SIGKILL);
    }
    EXPECT_TRUE(eventually([] { return processesRunning("tarnPipelineProcess").empty(); }));
    EXPECT_TRUE(eventually([&] { return !isListed(other->id()); }));
    for (const auto& endpoint : {other->where().commandEndpoint, other->where().eventEndpoint}) {
        fs::remove(endpoint.substr(std::string("ipc://").size()));
    }
}

}  // namespace

}  // namespace tarn::test
