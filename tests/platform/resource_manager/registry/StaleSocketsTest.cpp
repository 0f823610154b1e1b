#include "platform/resource_manager/registry/StaleSockets.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <fstream>

#include "platform/os/FileDescriptor.h"
#include "tests/platform/resource_manager/TestJobs.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::resource_manager {

namespace {

/// Listens on a path; the file stays when it goes, as after kill -9.
class Listener {
  public:
    explicit Listener(const std::filesystem::path& path)
        : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        const void* const generic = &address;
        EXPECT_EQ(::bind(socket.get(), static_cast<const sockaddr*>(generic), sizeof address), 0);
        EXPECT_EQ(::listen(socket.get(), 1), 0);
    }

  private:
    const tarn::os::FileDescriptor socket;
};

struct StaleSocketsTest : testing::Test {
    std::string endpoint(const std::string& name) const {
        return "ipc://" + (folder.path() / name).string();
    }
    bool isThere(const std::string& name) const {
        return std::filesystem::exists(folder.path() / name);
    }
    const tarn::test::TemporaryFolder folder;
};

TEST_F(StaleSocketsTest, AreRemoved) {
    { const Listener first(folder.path() / "first"), second(folder.path() / "second"); }
    ASSERT_TRUE(isThere("first"));
    removeLeftSockets(test::deadJob("dead", {endpoint("first"), endpoint("second")}));
    EXPECT_FALSE(isThere("first"));
    EXPECT_FALSE(isThere("second"));
}

TEST_F(StaleSocketsTest, OnWhichSomebodyListensStay) {
    const Listener alive(folder.path() / "alive");
    removeLeftSockets(test::deadJob("dead", {endpoint("alive")}));
    EXPECT_TRUE(isThere("alive"));
}

TEST_F(StaleSocketsTest, ThatAreNoneStay) {
    std::ofstream(folder.path() / "file") << "text";
    std::filesystem::create_directory(folder.path() / "folder");
    removeLeftSockets(test::deadJob("dead", {endpoint("file"), endpoint("folder"), "tcp://h:1",
                                             endpoint("nothing"), "rubbish", ""}));
    EXPECT_TRUE(isThere("file"));
    EXPECT_TRUE(isThere("folder"));
}

}  // namespace

}  // namespace tarn::resource_manager
