#include <sys/stat.h>

#include <fstream>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/attacks/AttackTest.h"
#include "tests/system/harness/Processes.h"

// Pipelines with which one who may submit tries to leave his job's cell, with elements that
// everybody has.
namespace tarn::test {

namespace {

namespace fs = std::filesystem;

constexpr auto recordings = "/tmp/jobs/recordings";
constexpr auto spoil = "/tmp/jobs/recordings/spoil";

class PipelinesTest : public AttackTest {
  protected:
    void SetUp() override {
        AttackTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        fs::create_directories(recordings);
        fs::create_directories("/tmp/jobs/media");
        fs::permissions(recordings, fs::perms::all);
        configureSections(
            std::string("<Jobs><ReadFolder>/tmp/jobs/media</ReadFolder><WriteFolder>") +
            recordings + "</WriteFolder><User>nobody</User></Jobs>");
        startService();
    }

    /// Submits it as the second user and waits until it is over.
    void play(const std::string& pipeline) {
        ASSERT_TRUE(isGranted(operating(), submissionOf({.pipeline = pipeline}))) << pipeline;
        ASSERT_TRUE(api().info());  // answered after the launch
        EXPECT_TRUE(eventually([&] {
            const auto jobs = api().jobs();
            return jobs && jobs->empty() && processesRunning("tarnWorkflowLauncher").empty();
        })) << pipeline;
    }

    static std::string contentOf(const std::string& file) {
        return fs::exists(file) ? readFile(file) : "there is none";
    }

    static bool gotNothing() {
        std::error_code none;
        const auto size = fs::file_size(spoil, none);
        return none || size == 0;
    }

    void expectNotRead(const std::string& file) {
        fs::remove(spoil);
        ASSERT_TRUE(fs::exists(file)) << file;
        play("filesrc location=" + file + " num-buffers=10 ! filesink location=" + spoil);
        expectRefused("a job that copies " + file, gotNothing());
    }

    void expectNotWritten(const std::string& file, const std::string& sink) {
        const auto before = contentOf(file);
        play("videotestsrc num-buffers=3 ! " + sink);
        expectRefused("a job with " + sink, contentOf(file) == before);
    }
};

TEST_F(PipelinesTest, CopyNothingOfTheService) {
    // He reads what he may, by the same way.
    std::ofstream("/tmp/precious") << "precious";
    fs::permissions("/tmp/precious", fs::perms(0644));
    std::ofstream(std::string(recordings) + "/clip") << "frames";
    fs::permissions(std::string(recordings) + "/clip", fs::perms(0644));
    play("filesrc location=" + std::string(recordings) + "/clip ! filesink location=" + spoil);
    EXPECT_EQ(readFile(spoil), "frames");
    for (const auto* const file :
         {"/etc/TarnConfiguration.xml", "/etc/shadow", "/tmp/precious",
          "/opt/halden/halden-tarn-service/config/halden-tarn-service.logger.config"}) {
        expectNotRead(file);
    }
    fs::create_symlink("/tmp/precious", std::string(recordings) + "/link");
    expectNotRead(std::string(recordings) + "/link");
    expectNotRead(std::string(recordings) + "/../../precious");
}

TEST_F(PipelinesTest, WriteNothingElsewhere) {
    std::ofstream("/tmp/precious") << "precious";
    fs::permissions("/tmp/precious", fs::perms(0666));
    const std::string precious = "/tmp/precious";
    expectNotWritten(precious, "filesink location=" + precious);
    expectNotWritten(precious, "filesink append=true location=" + precious);
    expectNotWritten(precious, "filesink location=" + std::string(recordings) + "/../../precious");
    fs::create_symlink(precious, std::string(recordings) + "/link");
    expectNotWritten(precious, "filesink location=" + std::string(recordings) + "/link");
    expectNotWritten("/tmp/new-00000", "multifilesink location=/tmp/new-%05d");
    expectNotWritten("/etc/cron.d/new", "filesink location=/etc/cron.d/new");
    expectNotWritten(precious, "fdsink fd=1");
    EXPECT_FALSE(fs::exists("/tmp/new-00000"));
}

// By a name that a launch line could take for something else.
TEST_F(PipelinesTest, AreNoCommandLines) {
    for (const auto* const text :
         {"$(touch /tmp/hit)", "`touch /tmp/hit`", "videotestsrc ! fakesink; touch /tmp/hit",
          "videotestsrc num-buffers=1 ! fakesink name=\"$(touch /tmp/hit)\"",
          "filesrc location=|touch${IFS}/tmp/hit ! fakesink", "@/etc/shadow", "--help"}) {
        play(text);
        expectRefused(std::string("the pipeline ") + text, !fs::exists("/tmp/hit"));
    }
    expectOthersServed();
}

}  // namespace

}  // namespace tarn::test
