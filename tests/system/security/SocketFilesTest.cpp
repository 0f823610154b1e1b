#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>

#include "platform/utils/Synchronised.h"
#include "tests/system/harness/Installation.h"
#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

namespace {

/// Looks at the socket files in /tmp all the time, and notes each owner and mode that it sees.
class Watch {
  public:
    Watch() : thread([this](const std::stop_token& stop) { run(stop); }) {}

    /// "NAME MODE GROUP" of each; job endpoints, which have a UUID for a name, as "UUID".
    std::set<std::string> seen() { return *all.lock(); }

  private:
    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::error_code gone;
            for (const auto& entry : std::filesystem::directory_iterator("/tmp", gone)) {
                note(entry.path());
            }
        }
    }

    void note(const std::filesystem::path& path) {
        struct stat is {};
        if (::lstat(path.c_str(), &is) != 0 || !S_ISSOCK(is.st_mode)) {
            return;
        }
        const auto name = path.filename().string();
        std::ostringstream text;
        text << (name.size() == 36 ? "UUID" : name) << " " << std::oct << (is.st_mode & 07777U)
             << " " << std::dec << is.st_gid;
        all.lock()->insert(text.str());
    }

    utils::Synchronised<std::set<std::string>> all;
    std::jthread thread;  // last: it uses the others
};

class SocketFilesTest : public SecurityTest {};

}  // namespace

// Also where the mask of whoever starts it would leave everything open.
TEST_F(SocketFilesTest, AreAtNoMomentForOthers) {
    const auto mask = ::umask(0);
    std::set<std::string> seen;
    {
        Watch watch;
        Process gateway({gatewayProgram});
        EXPECT_TRUE(gateway.waitForOut("started"));
        startService();
        startJob({.pipeline = endless})->destroy();
        seen = watch.seen();
        gateway.signal(SIGTERM);
        gateway.waitForEnd();
    }
    ::umask(mask);
    const auto open = " 660 " + std::to_string(readers);
    for (const auto* const name : {"requests", "events.pub", "UUID"}) {
        EXPECT_TRUE(seen.contains(name + open)) << name;
    }
    for (const auto* const name : {"resource", "events", "UUID"}) {
        EXPECT_TRUE(seen.contains(name + std::string(" 600 0"))) << name;
    }
    for (const auto& one : seen) {
        const bool isOpen = one.ends_with(open);
        const bool isClosed = one.find(" 600 ") != std::string::npos;
        EXPECT_TRUE(isOpen || isClosed) << one;
        EXPECT_FALSE(isOpen && (one.starts_with("resource ") || one.starts_with("events "))) << one;
    }
}

TEST_F(SocketFilesTest, OfTheStorageIsAtNoMomentForOthers) {
    const auto mask = ::umask(0);
    std::set<std::string> seen;
    {
        Watch watch;
        for (int round = 0; round < 20; ++round) {
            Process storage({loopStorageProgram, "--directory", "/var/log/watched-tracks", "--unix",
                             "/tmp/loop-storage"});
            EXPECT_TRUE(storage.waitForErr("Serves "));
            storage.signal(SIGTERM);
            storage.waitForEnd();
        }
        seen = watch.seen();
    }
    ::umask(mask);
    std::filesystem::remove_all("/var/log/watched-tracks");
    const auto open = "loop-storage 660 " + std::to_string(readers);
    EXPECT_TRUE(seen.contains(open));
    for (const auto& one : seen) {
        EXPECT_TRUE(one == open || one.starts_with("loop-storage 600 ")) << one;
    }
}

TEST_F(SocketFilesTest, OfOurOwnProgramsLetNoLevelIn) {
    startService();
    EXPECT_EQ(knockAs(admin(), "/tmp/resource"), EACCES);
    EXPECT_EQ(knockAs(admin(), "/tmp/requests"), 0);
}

}  // namespace tarn::test
