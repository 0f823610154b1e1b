#include <gmock/gmock.h>

#include <cerrno>

#include "tests/support/Eventually.h"
#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/attacks/AttackTest.h"

// The second user as a program of the media server: beside security.TakenNamesTest, where he has a
// name before it has.
namespace tarn::test {

namespace {

class ForgedPeersTest : public AttackTest {
  protected:
    static std::string fileOf(const std::string& endpoint) {
        return endpoint.substr(std::string("ipc://").size());
    }

    static void expectLockedOut(const std::string& what, const OtherUser& attacker,
                                const std::string& path) {
        EXPECT_TRUE(std::filesystem::is_socket(path)) << path;
        expectRefused(what, knockAs(attacker, path) == EACCES);
    }
};

TEST_F(ForgedPeersTest, AreNotLetInWhereOnlyProgramsMeet) {
    Process gateway({gatewayProgram});
    ASSERT_TRUE(gateway.waitForOut("started"));
    Process monitor({hostMonitorProgram});
    Process ingest({ingestProgram, "--test-picture"});
    ASSERT_TRUE(eventually([] {
        return std::filesystem::is_socket("/tmp/host-monitor") &&
               std::filesystem::is_socket("/tmp/deltacast");
    }));
    startService();
    expectLockedOut("as a job, registers another's", admin(), "/tmp/resource");
    expectLockedOut("as a job, takes others' endpoints", operating(), "/tmp/resource");
    expectLockedOut("as the service, tells the gateway a tree", admin(), "/tmp/events");
    expectLockedOut("as the service, ends the host monitor", admin(), "/tmp/host-monitor");
    expectLockedOut("as the service, ends the ingest service", admin(), "/tmp/deltacast");
    expectLockedOut("without a level, asks the service", nobody(), "/tmp/requests");
    expectLockedOut("without a level, follows events", nobody(), "/tmp/events.pub");
    const auto job = startJob({.pipeline = endless});
    expectLockedOut("without a level, commands a job", nobody(),
                    fileOf(job->where().commandEndpoint));
    expectLockedOut("without a level, follows a job", nobody(), fileOf(job->where().eventEndpoint));
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
    for (auto* const program : {&gateway, &monitor, &ingest}) {
        program->signal(SIGTERM);
        program->waitForEnd();
    }
}

TEST_F(ForgedPeersTest, AFalseStorageLearnsNothing) {
    configureSections(
        "<Storage type=\"LoopStorage\"><InterfaceType>unix</InterfaceType>"
        "<InterfaceAddress>/tmp/loop-storage</InterfaceAddress></Storage>");
    for (const auto file : {ImpostorSocket::File::Impostors, ImpostorSocket::File::Ours}) {
        const ImpostorSocket impostor("/tmp/loop-storage", file);
        startService();
        const auto asked = tarnctl({"storage", "space"});
        EXPECT_NE(asked.exitStatus, 0);
        EXPECT_TRUE(service().waitForLog("user 61001"));
        expectRefused(file == ImpostorSocket::File::Ours
                          ? "as the loop storage, listens on a socket of ours"
                          : "as the loop storage, listens on his own socket",
                      impostor.loot().empty());
        EXPECT_EQ(service().stop(), Ending::exited(0));
    }
}

// He looks like one whose endpoint tarnctl was told.
TEST_F(ForgedPeersTest, AFalseJobIsToldNothing) {
    startService();
    const ImpostorSocket impostor("/tmp/false-job");
    const ImpostorSocket ofEvents("/tmp/false-events");
    const auto followed = tarnctl({"events", "--events-endpoint", "ipc:///tmp/false-events"},
                                  std::chrono::seconds(20));
    EXPECT_NE(followed.exitStatus, 0);
    const auto asked = tarnctl({"info", "--endpoint", "ipc:///tmp/false-job"});
    EXPECT_NE(asked.exitStatus, 0);
    EXPECT_THAT(asked.err, testing::HasSubstr("belongs to user 61001"));
    expectRefused("as a service at another endpoint, answers tarnctl", impostor.loot().empty());
    expectRefused("as a gateway at another endpoint, tells tarnctl events",
                  ofEvents.loot().empty() && followed.out.empty());
}

// Levels are the connection's: no request says whose it is.
TEST_F(ForgedPeersTest, NobodySaysOfHimselfWhatHeMay) {
    startService();
    const auto job = startJob({.pipeline = endless});
    for (const auto& [act, command] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"ends a job of root's", {"jobs", "stop", job->id()}},
             {"ends every job", {"jobs", "stop", "--all"}},
             {"ends a job of root's for good", {"jobs", "stop", job->id(), "--for-good"}},
             {"starts an engine",
              {"engines", "submit", "--name", "e", "--settings", "videotestsrc ! fakesink"}},
             {"keeps a job for the next start",
              {"jobs", "submit", "--persistent", "--pipeline", "videotestsrc ! fakesink"}}}) {
        const auto run = tarnctlAs(operating(), command);
        EXPECT_THAT(run.err, testing::HasSubstr("needs the level admin")) << run.err << run.out;
        expectRefused("as an operator, " + act, run.exitStatus != 0 && isListed(job->id()));
    }
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

}  // namespace

}  // namespace tarn::test
