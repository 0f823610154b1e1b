#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <memory>

#include "proto/service_job.pb.h"
#include "service/workflows/WorkflowCreator.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

std::string folderSection(const std::string& folder) {
    return "<Paths><PersistentJobsFolder>" + folder + "</PersistentJobsFolder></Paths>";
}

auto count(const test::LogCapture& log, const std::string& line) {
    const auto lines = log.lines();
    return std::count(lines.begin(), lines.end(), line);
}

}  // namespace

class PersistentJobsTest : public testing::Test {
  protected:
    PersistentJobsTest() {
        reply.set_type(JobToServiceReply::SETUP);
        reply.set_success(true);
        bed.onCommand([this](const std::string& command) {
            auto& request = requests.emplace_back();
            jobs.push_back(std::make_unique<test::FakeSetupPeer>(test::argumentAfter(command, "-e"),
                                                                 request, &reply));
        });
    }

    std::string pathOf(const std::string& name) const { return (folder.path() / name).string(); }

    ServiceToJobRequest storedJob(const std::string& uuid) const {
        ServiceToJobRequest request;
        request.set_type(ServiceToJobRequest::SETUP);
        auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
        setup.mutable_job_description()->set_name("name of " + uuid);
        setup.mutable_job_description()->set_job_id(uuid);
        setup.set_job_configuration("a ! b");
        setup.set_first_job_endpoint("ipc:///tmp/of-long-ago-1");
        setup.set_second_job_endpoint("ipc:///tmp/of-long-ago-2");
        setup.set_resources_endpoint("ipc:///tmp/resources-of-long-ago");
        setup.set_persistent_file_path(pathOf(uuid + ".job"));
        return request;
    }

    void store(const ServiceToJobRequest& job, const std::string& name) {
        folder.write(name, job.SerializeAsString());
    }

    void regenerate() { bed.workflows.regeneratePersistentJobs(); }

    /// The setup that the n-th launched job got.
    const ServiceToJobRequestSetup& setup(std::size_t n) {
        EXPECT_TRUE(jobs.at(n)->gotRequest());
        return std::next(requests.begin(), static_cast<long>(n))
            ->GetExtension(ServiceToJobRequestSetup::base);
    }

    test::TemporaryFolder folder;
    test::ServiceBed bed{folderSection(folder.path().string()) +
                         "<Paths><WorkflowLauncher>/opt/launcher</WorkflowLauncher></Paths>"};
    JobToServiceReply reply;
    std::list<ServiceToJobRequest> requests;  // outlives jobs, never moves
    std::vector<std::unique_ptr<test::FakeSetupPeer>> jobs;
};

TEST_F(PersistentJobsTest, AnEmptyFolderRestoresNothingAndLogsNothing) {
    const auto before = bed.log.lines().size();
    regenerate();
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_THAT(bed.log.lines(), SizeIs(before));
}

TEST_F(PersistentJobsTest, AJobGetsWhatItsFileSaysAndFreshEndpoints) {
    auto job = storedJob("uuid-1");
    auto& stored = *job.MutableExtension(ServiceToJobRequestSetup::base);
    auto& disks = *stored.add_resources_to_reserve();
    disks.set_name("Disk");
    disks.add_values("b");
    auto& endpoints = *stored.add_resources_to_reserve();
    endpoints.set_name("Endpoint");
    endpoints.add_values("ipc:///tmp/of-long-ago-1");
    auto& again = *stored.add_resources_to_reserve();
    again.set_name("Disk");
    again.add_values("a");
    store(job, "x");

    regenerate();

    ASSERT_THAT(bed.commands(), SizeIs(1));
    const auto& sent = setup(0);
    EXPECT_EQ(sent.job_description().name(), "name of uuid-1");
    EXPECT_EQ(sent.job_configuration(), "a ! b");
    EXPECT_EQ(sent.persistent_file_path(), pathOf("uuid-1.job"));
    EXPECT_EQ(sent.resources_endpoint(), bed.configuration.getResourcesEndpoint());
    EXPECT_NE(sent.first_job_endpoint(), "ipc:///tmp/of-long-ago-1");
    EXPECT_NE(sent.first_job_endpoint(), sent.second_job_endpoint());
    ASSERT_EQ(sent.resources_to_reserve_size(), 2);
    EXPECT_EQ(sent.resources_to_reserve(0).name(), "Disk");
    EXPECT_THAT(sent.resources_to_reserve(0).values(), ElementsAre("b", "a"));
    EXPECT_THAT(sent.resources_to_reserve(1).values(),
                ElementsAre(sent.first_job_endpoint(), sent.second_job_endpoint()));
    EXPECT_TRUE(
        bed.log.has("INFO Workflow creator > Restoring persistent job in file: " + pathOf("x")));
}

TEST_F(PersistentJobsTest, AJobOfAnEarlierVersionIsSetUpInTheServicesOwn) {
    ASSERT_FALSE(storedJob("uuid-1").GetExtension(ServiceToJobRequestSetup::base).has_version());
    store(storedJob("uuid-1"), "x");
    regenerate();
    ASSERT_THAT(bed.commands(), SizeIs(1));
    EXPECT_EQ(setup(0).version(), ServiceToJobRequestSetup::CURRENT);
}

TEST_F(PersistentJobsTest, AJobOfALaterVersionWaitsForALaterService) {
    auto later = storedJob("uuid-1");
    later.MutableExtension(ServiceToJobRequestSetup::base)
        ->set_version(ServiceToJobRequestSetup::CURRENT + 1);
    store(later, "x");
    regenerate();
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_TRUE(
        bed.log.has("ERROR Workflow creator > Failed reading file: it is of version 3, and this "
                    "service takes 2 at "
                    "most"));
    EXPECT_TRUE(fs::exists(pathOf("x")));
}

TEST_F(PersistentJobsTest, AJobIsToldTheFileThatItComesFromBesideTheOneThatIsNamedThere) {
    auto planted = storedJob("uuid-1");
    planted.MutableExtension(ServiceToJobRequestSetup::base)
        ->set_persistent_file_path("/etc/victim");
    planted.MutableExtension(ServiceToJobRequestSetup::base)
        ->set_restored_from_file("/etc/another");
    store(planted, "x");
    regenerate();
    ASSERT_THAT(bed.commands(), SizeIs(1));
    EXPECT_EQ(setup(0).restored_from_file(), pathOf("x"));
    EXPECT_EQ(setup(0).persistent_file_path(), "/etc/victim");
}

TEST_F(PersistentJobsTest, TheFileIsOnlyRead) {
    const auto job = storedJob("uuid-1");
    store(job, "x");
    regenerate();
    EXPECT_EQ(test::readFile(pathOf("x")), job.SerializeAsString());
}

TEST_F(PersistentJobsTest, AJobIsLaunchedUnderTheLabelOfItsFirstLaunch) {
    auto named = storedJob("uuid-1");
    named.MutableExtension(ServiceToJobRequestSetup::base)->set_persistent_job_name("cam1.job");
    store(named, "a");
    regenerate();
    EXPECT_THAT(bed.commands(), ElementsAre(HasSubstr("/opt/launcher -l cam1.job -e ")));
    EXPECT_EQ(setup(0).persistent_job_name(), "cam1.job");

    fs::remove(pathOf("a"));
    store(storedJob("uuid-2"), "b");
    regenerate();
    EXPECT_THAT(bed.commands().at(1), HasSubstr("/opt/launcher -l uuid-2 -e "));
}

TEST_F(PersistentJobsTest, AJobThatStillRunsIsNotStartedTwice) {
    bed.registerJob("uuid-1", "ipc:///tmp/somewhere");
    store(storedJob("uuid-1"), "x");
    regenerate();
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_TRUE(bed.log.has(
        "WARN Workflow creator > Will not (re)create job with UUID uuid-1: already running"));
}

TEST_F(PersistentJobsTest, OnlyRegularFilesDirectlyInTheFolderAreRead) {
    fs::create_directory(pathOf("folder"));
    store(storedJob("uuid-1"), "folder/inner");
    ASSERT_EQ(::mkfifo(pathOf("pipe").c_str(), 0600), 0);
    sockaddr_un address{AF_UNIX, {}};
    pathOf("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    fs::create_symlink("/no/such/file", pathOf("dangling"));

    const auto before = bed.log.lines().size();
    regenerate();
    ::close(listening);
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_THAT(bed.log.lines(), SizeIs(before));
}

TEST_F(PersistentJobsTest, EachBadFileHasItsLineAndKeepsNoOtherFromComingBack) {
    constexpr std::size_t badFiles = 50;
    for (std::size_t n = 0; n < badFiles; ++n) {
        folder.write("bad" + std::to_string(n), "\xff no message " + std::to_string(n));
    }
    store(storedJob("uuid-1"), "good");
    regenerate();
    EXPECT_THAT(bed.commands(), ElementsAre(HasSubstr(" -l uuid-1 ")));
    EXPECT_EQ(count(bed.log, "ERROR Workflow creator > Failed deserializing message"),
              static_cast<long>(badFiles));
}

TEST_F(PersistentJobsTest, AFileWithoutASetupIsRefusedLikeAJobWithoutAUuid) {
    folder.write("empty", "");
    regenerate();
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_TRUE(
        bed.log.has("WARN Workflow creator > Will not (re)create job with UUID : already running"));
}

TEST_F(PersistentJobsTest, AFileThatIsTooLargeIsNotReadIntoMemory) {
    folder.write("huge", "");
    fs::resize_file(pathOf("huge"), std::uintmax_t{1} << 40);
    regenerate();
    EXPECT_TRUE(bed.log.contains("ERROR Workflow creator > Failed reading file: "));
}

TEST_F(PersistentJobsTest, AFileThatCannotBeOpenedIsLogged) {
    bed.workflows.regeneratePersistentJob(pathOf("gone"));
    EXPECT_TRUE(
        bed.log.has("INFO Workflow creator > Restoring persistent job in file: " + pathOf("gone")));
    EXPECT_TRUE(bed.log.has("ERROR Workflow creator > Failed opening file"));
}

TEST_F(PersistentJobsTest, AFileThatOpensButCannotBeReadIsLogged) {
    bed.workflows.regeneratePersistentJob(folder.path().string());
    EXPECT_TRUE(bed.log.contains("ERROR Workflow creator > Failed reading file: "));
}

TEST_F(PersistentJobsTest, ARefusedSetupKeepsNoOtherFromComingBack) {
    reply.set_success(false);
    reply.set_error_message("no element");
    store(storedJob("uuid-1"), "a");
    store(storedJob("uuid-2"), "b");
    regenerate();
    EXPECT_THAT(bed.commands(), SizeIs(2));
    EXPECT_EQ(count(bed.log, "ERROR Workflow creator > Job setup failed: no element"), 2);
}

TEST_F(PersistentJobsTest, TheRestIsLeftOutWhenTheServiceIsToStop) {
    store(storedJob("uuid-1"), "a");
    store(storedJob("uuid-2"), "b");
    bed.workflows.regeneratePersistentJobs([this] { return !bed.commands().empty(); });
    EXPECT_THAT(bed.commands(), SizeIs(1));
}

TEST(PersistentJobsFolderTest, IsMissedAloudWhenItIsNoFolder) {
    test::TemporaryFolder folder;
    for (const auto& path : {folder.path().string() + "/none", folder.write("file", "")}) {
        test::ServiceBed bed(folderSection(path));
        bed.workflows.regeneratePersistentJobs();
        EXPECT_TRUE(
            bed.log.has("ERROR Workflow creator > Jobs folder path does not match an "
                        "actual folder. No jobs will be restored."));
    }
    test::ServiceBed bed(folderSection("<![CDATA[]]>"));
    ASSERT_EQ(bed.configuration.getPersistentJobsFolder(), "");
    bed.workflows.regeneratePersistentJobs();
    EXPECT_TRUE(bed.log.contains("Jobs folder path does not match"));
}

TEST(PersistentJobsOverTcpTest, WithoutAFreePortAreSkippedWithTheReason) {
    test::TemporaryFolder folder;
    folder.write("job", "");
    test::ServiceBed bed(
        folderSection(folder.path().string()) +
        R"(<Resources><TcpPorts interface="127.0.0.1" from="6000" to="6000"/></Resources>)");
    bed.workflows.init(socket::SocketEndpoint::FromString("tcp://127.0.0.1:5000"), {});
    bed.workflows.regeneratePersistentJobs();  // two are wanted of one
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_TRUE(bed.log.contains("ERROR Workflow creator > Cannot submit job: "));
    EXPECT_TRUE(bed.log.contains("WARN Workflow creator > Of the ports 6000 to 6000 of "));
}

}  // namespace tarn::service
