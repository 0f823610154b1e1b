#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "platform/os/FileDescriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/OtherUser.h"
#include "tests/system/harness/SystemTest.h"

// What another user of the machine gets at of what the programs keep.
namespace tarn::test {

namespace {

namespace fs = std::filesystem;

constexpr auto secret = "geheim-4711";

const std::vector<fs::path> places = {"/run/halden-tarn", "/var/log/halden-tarn",
                                      "/usr/share/TarnJobs", "/tmp/tracks"};

/// Every file of the places, whoever may see it.
std::vector<fs::path> allFiles() {
    std::vector<fs::path> found;
    for (const auto& place : places) {
        std::error_code failed;
        fs::recursive_directory_iterator entry(place, failed);
        for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
            if (entry->is_regular_file()) {
                found.push_back(entry->path());
            }
        }
    }
    return found;
}

bool canBeOpened(const fs::path& file, int flags) {
    return os::FileDescriptor(::open(file.c_str(), flags | O_CLOEXEC)).isOpen();
}

class ClosedStateTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        ::umask(0);  // that the programs are started with
    }
    void TearDown() override {
        SystemTest::TearDown();
        ::umask(before);
    }

    const mode_t before = ::umask(0);
};

}  // namespace

TEST_F(ClosedStateTest, CanNeitherBeReadNorHeldByAnotherUser) {
    if (!canBeOthers()) {
        GTEST_SKIP() << "there is no other user here";
    }
    configureSections(
        "<Paths><PersistentJobsFolder>/usr/share/TarnJobs</PersistentJobsFolder></Paths>");
    fs::remove_all("/usr/share/TarnJobs");
    Process storage(
        {loopStorageProgram, "--directory", "/tmp/tracks", "--unix", "/tmp/loop-storage"});
    startService();
    const auto job = startJob({.pipeline = endless, .persistent = true, .persistentName = "kept"});
    ASSERT_TRUE(eventually([] { return fs::exists("/tmp/tracks/lock"); }));
    const auto files = allFiles();
    const auto has = [&](const std::string& end) {
        return std::any_of(files.begin(), files.end(),
                           [&](const fs::path& file) { return file.string().ends_with(end); });
    };
    EXPECT_TRUE(has(".registry") && has("/kept") && has(".log") && has("/lock"));
    EXPECT_TRUE(doneAs({}, [&] {
        return std::none_of(files.begin(), files.end(), [](const fs::path& file) {
            return canBeOpened(file, O_RDONLY) || canBeOpened(file, O_RDWR);
        });
    }));
    for (const auto& file : files) {
        struct stat facts {};
        ASSERT_EQ(::stat(file.c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 0137U, 0U) << file;
    }
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
    storage.signal(SIGTERM);
    EXPECT_EQ(storage.waitForEnd(), Ending::exited(0));
}

TEST_F(ClosedStateTest, HoldsNoSecretInAnyLog) {
    startService();
    const std::string location = "rtmp://live.example/app/" + std::string(secret);
    api().submit({.pipeline = "videotestsrc num-buffers=1 ! fakesink name=\"passphrase=" +
                              std::string(secret) + "\" nonsense location=" + location});
    EXPECT_TRUE(service().waitForLog("rtmp://live.example/app/***"));
    for (const auto& line : service().log().all()) {
        EXPECT_EQ(line.find(secret), std::string::npos) << line;
    }
    for (const auto& file : allFiles()) {
        std::ifstream content(file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(content), {}};
        EXPECT_EQ(text.find(secret), std::string::npos) << file;
    }
}

}  // namespace tarn::test
