#include "tests/system/security/OtherUsersTest.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/support/OtherUser.h"
#include "tests/support/peers/ImpostorSocket.h"

namespace tarn::test {

namespace fs = std::filesystem;

namespace {

// Where the second user can run it, wherever it was built.
constexpr auto thiefProgram = "/tmp/thief";

}  // namespace

void OtherUsersTest::SetUp() {
    if (!canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    SystemTest::SetUp();
    fs::copy_file(TARN_THIEF, thiefProgram, fs::copy_options::overwrite_existing);
    fs::permissions(thiefProgram,
                    fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
}

void OtherUsersTest::TearDown() {
    sendThievesAway();
    listeners.clear();
    SystemTest::TearDown();
}

Process& OtherUsersTest::startThief(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{thiefProgram};
    command.insert(command.end(), arguments.begin(), arguments.end());
    thieves.push_back(std::make_unique<Process>(commandAs({}, command)));
    EXPECT_TRUE(thieves.back()->waitForOut("ready"));
    return *thieves.back();
}

// What they had bound stays behind.
void OtherUsersTest::sendThievesAway() {
    thieves.clear();
    for (const auto& name : socketFiles()) {
        struct stat file {};
        const auto path = "/tmp/" + name;
        if (::lstat(path.c_str(), &file) == 0 && file.st_uid == OtherUser().user) {
            fs::remove(path);
        }
    }
}

bool OtherUsersTest::stoleSomething(const Process& thief) {
    return thief.output().contains("stolen ");
}

void OtherUsersTest::clear(const std::string& path) {
    listeners.clear();
    fs::remove(path);
}

void OtherUsersTest::obstruct(const std::string& path, Obstacle obstacle) {
    clear(path);
    if (obstacle == Obstacle::Listener || obstacle == Obstacle::DeadSocket) {
        listeners.push_back(std::make_shared<ImpostorSocket>(path));
    }
    asUser(OtherUser().user, [&] {
        switch (obstacle) {
            case Obstacle::File:
                std::ofstream(path) << "x";
                break;
            case Obstacle::Folder:
                fs::create_directory(path);
                break;
            case Obstacle::Link:
                fs::create_symlink("/tmp/elsewhere", path);
                break;
            case Obstacle::Pipe:
                EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
                break;
            case Obstacle::DeadSocket:
            case Obstacle::Listener:
                break;
        }
    });
    if (obstacle == Obstacle::DeadSocket) {
        const auto kept = path + ".kept";
        fs::rename(path, kept);
        listeners.clear();
        fs::rename(kept, path);
    }
}

}  // namespace tarn::test
