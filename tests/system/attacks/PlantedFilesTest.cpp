#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "proto/deltacast_configuration.pb.h"
#include "proto/service_job.pb.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/attacks/AttackTest.h"
#include "tests/system/harness/Processes.h"

// Files that the second user puts where the programs look for their own: in folders that are open
// by mistake, or that he made before they did.
namespace tarn::test {

namespace {

namespace fs = std::filesystem;
using proto::service_job::ServiceToJobRequest;
using proto::service_job::ServiceToJobRequestSetup;
using testing::HasSubstr;

constexpr auto his = "it belongs to user 61001";

class PlantedFilesTest : public AttackTest {
  protected:
    static std::string storedJob(const std::string& id) {
        ServiceToJobRequest request;
        request.set_type(ServiceToJobRequest::SETUP);
        auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
        setup.mutable_job_description()->set_name("planted");
        setup.mutable_job_description()->set_job_id(id);
        setup.set_job_configuration(endless);
        setup.set_first_job_endpoint("ipc:///tmp/planted-1");
        setup.set_second_job_endpoint("ipc:///tmp/planted-2");
        setup.set_resources_endpoint("ipc:///tmp/resource");
        setup.set_persistent_file_path("/tmp/jobs/" + id);
        return request.SerializeAsString();
    }

    static void link(const std::string& target, const std::string& path) {
        asUser(OtherUser().user, [&] { fs::create_symlink(target, path); });
    }

    bool startsNoJob() {
        const auto jobs = api().jobs();
        return jobs && jobs->empty() && processesRunning("tarnWorkflowLauncher").empty();
    }

    /// What a program says that another user's folder keeps from starting.
    static void expectNotStarted(const std::string& act, const std::vector<std::string>& program) {
        const auto run = runProcess(program);
        EXPECT_THAT(run.out + run.err, HasSubstr(his)) << act;
        expectRefused(act, run.exitStatus == 1);
    }
};

TEST_F(PlantedFilesTest, InTheFolderOfPersistentJobsRunNothing) {
    const auto jobs = openFolder("/tmp/jobs");
    openFolder("/tmp/kept");
    plant(jobs + "/planted", storedJob("planted"));
    std::ofstream("/tmp/kept/retired") << storedJob("retired");
    link("/tmp/kept/retired", jobs + "/link");
    asUser(OtherUser().user, [&] {
        EXPECT_EQ(::mkfifo((jobs + "/pipe").c_str(), 0644), 0);
        fs::create_directory(jobs + "/folder");
    });
    plant(jobs + "/folder/below", storedJob("below"));
    link("/dev/zero", jobs + "/endless");
    plant("/tmp/kept/his", storedJob("his"));
    fs::create_symlink("/tmp/kept/his", jobs + "/our-link");
    configureSections("<Paths><PersistentJobsFolder>" + jobs + "</PersistentJobsFolder></Paths>");
    startService();
    EXPECT_TRUE(service().waitForLog("Persistent jobs regenerated"));
    for (const auto* const act :
         {"a file of a job of his own", "a link to a job that was retired",
          "a pipe that nobody writes to", "a folder with a job in it",
          "a link to an endless device", "a job of his that a link of ours leads to"}) {
        expectRefused(act, startsNoJob());
    }
    EXPECT_EQ(complaints(0, his), 3u) << service().log().text();
}

TEST_F(PlantedFilesTest, AFormatOfCaptureIsNotHisToSay) {
    openFolder("/tmp/capture");
    proto::deltacast_configuration::DeltacastConfig format;
    for (const auto* const name : {"/tmp/capture/format", "/tmp/capture/format.record"}) {
        plant(name, format.SerializePartialAsString());
    }
    configureSections(
        "<Paths><PersistentDeltacastConfigurationFile>/tmp/capture/format"
        "</PersistentDeltacastConfigurationFile></Paths>"
        "<TarnProtocolDevice type=\"Deltacast\"><MonitoringInterface>ipc:///tmp/deltacast"
        "</MonitoringInterface></TarnProtocolDevice>"
        "<DeltacastService><CommandLine>true</CommandLine>"
        "<DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"
        "<DefaultBoard0InputList>0</DefaultBoard0InputList>"
        "<DefaultBoard0InputFrameOffsetList>0</DefaultBoard0InputFrameOffsetList>"
        "<DefaultLineCount>1080</DefaultLineCount><DefaultFieldMode>i</DefaultFieldMode>"
        "<DefaultFrameRate>25</DefaultFrameRate></DeltacastService>");
    launchService();
    expectRefused("a capture format",
                  service().waitForLog(std::string("Failed reading file: ") + his));
    expectRefused("the record of one",
                  service().log().contains(std::string("/tmp/capture/format.record: ") + his));
}

// As on a machine whose /run everybody may write in.
TEST_F(PlantedFilesTest, ARunTimeFolderThatHeMadeIsNotUsed) {
    asUser(OtherUser().user, [] {
        fs::create_directory("/run/halden-tarn");
        fs::create_directory("/run/halden-tarn/claims");
    });
    fs::permissions("/run/halden-tarn", fs::perms::all);
    startService();
    const auto job = startJob({.pipeline = endless});
    EXPECT_TRUE(isListed(job->id()));
    EXPECT_TRUE(service().log().contains(std::string("/run/halden-tarn is not used: ") + his));
    expectRefused("a folder for the registry",
                  fs::is_empty("/run/halden-tarn/claims") &&
                      std::distance(fs::directory_iterator("/run/halden-tarn"),
                                    fs::directory_iterator()) == 1);
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

TEST_F(PlantedFilesTest, AFolderForLogsThatHeMadeIsNotUsed) {
    asUser(OtherUser().user, [] { fs::create_directories("/var/log/halden-tarn/jobs"); });
    ::setenv("XDG_STATE_HOME", "/tmp/state", 1);  // the next place
    fs::permissions("/var/log/halden-tarn/jobs", fs::perms::all);
    startService();
    const auto job = startJob({.pipeline = endless});
    const auto log = job->status()->log_file();
    expectRefused("a folder for the logs of jobs",
                  fs::is_empty("/var/log/halden-tarn/jobs") && !log.starts_with("/var/log"));
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

TEST_F(PlantedFilesTest, AStorageDoesNotKeepTracksInHisFolder) {
    const std::vector<std::string> storage{loopStorageProgram, "--directory", "/tmp/tracks",
                                           "--unix", "/tmp/loop-storage"};
    asUser(OtherUser().user, [] { fs::create_directory("/tmp/tracks"); });
    expectNotStarted("a folder for tracks", storage);
    fs::remove_all("/tmp/tracks");
    fs::create_directory("/tmp/kept");
    link("/tmp/kept", "/tmp/tracks");
    expectNotStarted("a link to a folder for tracks", storage);
    EXPECT_TRUE(fs::is_empty("/tmp/kept"));
}

TEST_F(PlantedFilesTest, TheLockOfAStorageIsNoLinkOfHis) {
    openFolder("/tmp/tracks");
    std::ofstream("/tmp/precious") << "precious";
    link("/tmp/precious", "/tmp/tracks/lock");
    const auto run = runProcess(
        {loopStorageProgram, "--directory", "/tmp/tracks", "--unix", "/tmp/loop-storage"});
    expectRefused("a link in the place of a storage's lock",
                  run.exitStatus == 1 && readFile("/tmp/precious") == "precious");
}

// It names what a dead process left, which the next one removes.
TEST_F(PlantedFilesTest, ARecordOfAnIngestServiceRemovesNothing) {
    std::ofstream("/dev/shm/shmpipe.    1.precious") << "precious";
    plant("/tmp/deltacast.run",
          "process 999999 1\nsocket /tmp/precious\nmemory shmpipe.    1.precious\n");
    expectNotStarted("the record of an ingest service",
                     {ingestProgram, "--test-picture", "--socket-prefix", "/tmp/deltacast"});
    EXPECT_TRUE(fs::exists("/dev/shm/shmpipe.    1.precious"));
    fs::remove("/dev/shm/shmpipe.    1.precious");
}

TEST_F(PlantedFilesTest, KeysAreNotHisToGive) {
    openFolder("/tmp/keys");
    ASSERT_EQ(tarnctl({"keys", "generate", "/tmp/keys/own"}).exitStatus, 0);
    std::ofstream("/tmp/keys/clients") << "";
    const auto startWith = [&](const std::string& secret, const std::string& clients) -> Service& {
        configureSections("<Security><KeyFile>" + secret + "</KeyFile><ClientKeys>" + clients +
                          "</ClientKeys></Security>");
        return launchService();
    };
    fs::copy_file("/tmp/keys/own", "/tmp/keys/his");
    ASSERT_EQ(::chown("/tmp/keys/his", OtherUser().user, OtherUser().group), 0);
    auto& first = startWith("/tmp/keys/his", "/tmp/keys/clients");
    expectRefused("a secret key for the machine",
                  first.waitForEnd() == Ending::exited(1) &&
                      first.log().contains("/tmp/keys/his: it belongs to user 61001"));
    plant("/tmp/keys/his-clients", "admin " + std::string(40, '0') + " me\n");
    auto& second = startWith("/tmp/keys/own", "/tmp/keys/his-clients");
    EXPECT_TRUE(second.waitUntilServing());
    expectRefused("a list of clients with his key in it",
                  second.log().contains("/tmp/keys/his-clients lets nobody in: it belongs to"));
    link("/tmp/precious", "/tmp/keys/new");
    EXPECT_EQ(tarnctl({"keys", "generate", "/tmp/keys/new"}).exitStatus, 1);
    expectRefused("a link where a new key is to be written", !fs::exists("/tmp/precious"));
}

TEST_F(PlantedFilesTest, ALinkDoesNotLeadAPersistentJobElsewhere) {
    const auto jobs = openFolder("/tmp/jobs");
    configureSections("<Paths><PersistentJobsFolder>" + jobs + "</PersistentJobsFolder></Paths>");
    std::ofstream("/tmp/precious") << "precious";
    link("/tmp/precious", jobs + "/kept");
    startService();
    const auto job = startJob({.pipeline = endless, .persistent = true, .persistentName = "kept"});
    expectRefused("a link in the place of a persistent job's file",
                  readFile("/tmp/precious") == "precious");
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
}

}  // namespace

}  // namespace tarn::test
