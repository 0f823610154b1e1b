#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "platform/os/FileDescriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/peers/ImpostorSocket.h"
#include "tests/system/attacks/AttackTest.h"

// What the second user, who has every level of the service, does to the files that the programs
// keep, by their names.
namespace tarn::test {

namespace {

namespace fs = std::filesystem;

struct FileAct {
    const char* name;
    int (*act)(const std::string& path);
};

int opened(const std::string& path, int flags) {
    return os::FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0600)).isOpen() ? 0 : -1;
}

int held(const std::string& path, int operation) {
    const os::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.isOpen() && ::flock(file.get(), operation | LOCK_NB) == 0 ? 0 : -1;
}

int recordLocked(const std::string& path, short type) {
    const os::FileDescriptor file(
        ::open(path.c_str(), (type == F_RDLCK ? O_RDONLY : O_RDWR) | O_CLOEXEC));
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return file.isOpen() && ::fcntl(file.get(), F_SETLK, &lock) == 0 ? 0 : -1;
}

int watched(const std::string& path) {
    const os::FileDescriptor changes(::inotify_init1(IN_CLOEXEC));
    return ::inotify_add_watch(changes.get(), path.c_str(), IN_ALL_EVENTS) >= 0 ? 0 : -1;
}

constexpr auto ofHisOwn = "/tmp/his-own";

// Each would be done to a file that is open to him, in a folder that is.
const std::vector<FileAct>& fileActs() {
    static const std::vector<FileAct> all = {
        {"reads it", [](const std::string& path) { return opened(path, O_RDONLY); }},
        {"writes it", [](const std::string& path) { return opened(path, O_WRONLY); }},
        {"appends to it",
         [](const std::string& path) { return opened(path, O_WRONLY | O_APPEND); }},
        {"empties it", [](const std::string& path) { return ::truncate(path.c_str(), 0); }},
        {"holds it for readers", [](const std::string& path) { return held(path, LOCK_SH); }},
        {"holds it for himself", [](const std::string& path) { return held(path, LOCK_EX); }},
        {"locks its records for readers",
         [](const std::string& path) { return recordLocked(path, F_RDLCK); }},
        {"locks its records for himself",
         [](const std::string& path) { return recordLocked(path, F_WRLCK); }},
        {"watches it", watched},
        {"opens it to all", [](const std::string& path) { return ::chmod(path.c_str(), 0666); }},
        {"marks it",
         [](const std::string& path) {
             return ::setxattr(path.c_str(), "user.mark", "x", 1, 0) == 0 || errno == ENOTSUP ? 0
                                                                                              : -1;
         }},
        {"sets its times back",
         [](const std::string& path) {
             const timespec times[2] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1, .tv_nsec = 0}};
             return ::utimensat(AT_FDCWD, path.c_str(), times, 0);
         }},
        {"puts another in its place",
         [](const std::string& path) {
             std::ofstream(std::string(ofHisOwn) + ".next") << "x";
             return ::rename((std::string(ofHisOwn) + ".next").c_str(), path.c_str());
         }},
        {"moves it away",
         [](const std::string& path) {
             return ::rename(path.c_str(), (path + ".away").c_str()) == 0 &&
                            ::rename((path + ".away").c_str(), path.c_str()) == 0
                        ? 0
                        : -1;
         }},
        {"gives it another name",
         [](const std::string& path) {
             const auto name = std::string(ofHisOwn) + ".name";
             const auto result = ::link(path.c_str(), name.c_str());
             const auto reason = errno;
             ::unlink(name.c_str());
             errno = reason;
             return result;
         }},
        {"puts a file beside it",
         [](const std::string& path) { return opened(path + "-journal.his", O_WRONLY | O_CREAT); }},
        {"lists its folder",
         [](const std::string& path) {
             return opened(fs::path(path).parent_path(), O_RDONLY | O_DIRECTORY);
         }},
        {"removes it", [](const std::string& path) { return ::unlink(path.c_str()); }},
    };
    return all;
}

class StateFilesTest : public AttackTest {
  protected:
    void SetUp() override {
        AttackTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        openFolder("/tmp/open");
        configureSections(
            "<Paths><PersistentJobsFolder>/usr/share/TarnJobs</PersistentJobsFolder></Paths>");
        fs::remove_all("/usr/share/TarnJobs");
        storage = std::make_unique<Process>(std::vector<std::string>{
            loopStorageProgram, "--directory", "/tmp/tracks", "--unix", "/tmp/loop-storage"});
        startService();
        job = startJob({.pipeline = endless, .persistent = true, .persistentName = "kept"});
        ASSERT_TRUE(eventually([] { return fs::exists("/tmp/tracks/lock"); }));
        ASSERT_EQ(tarnctl({"keys", "generate", "/run/halden-tarn/key"}).exitStatus, 0);
    }

    void endAll() {
        EXPECT_TRUE(job->destroy());
        EXPECT_TRUE(job->waitForEnd());
        storage->signal(SIGTERM);
        EXPECT_EQ(storage->waitForEnd(), Ending::exited(0));
    }

    /// One of each kind.
    static std::vector<std::string> files() {
        std::vector<std::string> found{"/tmp/tracks/lock", "/run/halden-tarn/key",
                                       "/usr/share/TarnJobs/kept"};
        for (const auto* const folder :
             {"/run/halden-tarn", "/run/halden-tarn/claims", "/var/log/halden-tarn/jobs"}) {
            for (const auto& entry : fs::directory_iterator(folder)) {
                if (entry.is_regular_file()) {
                    found.push_back(entry.path().string());
                }
            }
        }
        return found;
    }

    std::unique_ptr<Process> storage;
    std::unique_ptr<Job> job;
};

// On a file that is his he does it: an act that fails anywhere would prove nothing.
TEST_F(StateFilesTest, AreForNobodyElseInAnyWay) {
    const auto kept = files();
    ASSERT_GE(kept.size(), 6u);
    const auto before = service().logLength();
    for (const auto& tried : fileActs()) {
        asUser(OtherUser().user, [] { std::ofstream(ofHisOwn) << "x"; });
        EXPECT_TRUE(isDone(admin(), [&] { return tried.act(ofHisOwn); })) << tried.name;
        for (const auto& attacker : {nobody(), admin()}) {
            const auto isSafe = [&](const std::string& path) {
                EXPECT_TRUE(fs::exists(path)) << path;
                return isForbidden(attacker, [&] { return tried.act(path); });
            };
            expectRefused(std::string(tried.name) + ", of each kind of file, " +
                              (attacker.groups.empty() ? "without a level" : "as an admin"),
                          std::ranges::all_of(kept, isSafe));
        }
    }
    EXPECT_LE(complaints(before), 1u) << service().log().text();  // of a gateway that is not there
    expectOthersServed();
    endAll();
}

}  // namespace

}  // namespace tarn::test
