#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "tests/support/OtherUser.h"
#include "tests/system/security/OtherUsersTest.h"

// Each name that a program meets others on, taken in advance in each way that there is.
namespace tarn::test {

namespace {

namespace fs = std::filesystem;

struct Endpoint {
    std::string what;
    std::string path;
    std::vector<std::string> program;
};

const std::vector<Endpoint>& endpoints() {
    static const std::vector<Endpoint> all = {
        {"the gateway's receiving end", "/tmp/events", {gatewayProgram}},
        {"the gateway's publishing end", "/tmp/events.pub", {gatewayProgram}},
        {"the loop storage's socket",
         "/tmp/loop-storage",
         {loopStorageProgram, "--directory", "/tmp/tracks", "--unix", "/tmp/loop-storage"}},
        {"the host monitor's endpoint", "/tmp/host-monitor", {hostMonitorProgram}},
        {"the ingest service's endpoint", "/tmp/deltacast", {ingestProgram, "--test-picture"}},
    };
    return all;
}

class SquattedNamesTest : public OtherUsersTest {
  protected:
    static constexpr const char* nameOf(Obstacle obstacle) {
        switch (obstacle) {
            case Obstacle::File:
                return "a file";
            case Obstacle::Folder:
                return "a folder";
            case Obstacle::Link:
                return "a link";
            case Obstacle::Pipe:
                return "a pipe";
            case Obstacle::DeadSocket:
                return "a socket without a listener";
            case Obstacle::Listener:
                return "a socket with a listener";
        }
        return "";
    }

    static bool isHis(const std::string& path) {
        struct stat facts {};
        return ::lstat(path.c_str(), &facts) == 0 && facts.st_uid == OtherUser().user;
    }

    /// The program names him once and ends, and what he made is his still and was not followed.
    void expectNamed(const Endpoint& endpoint, Obstacle obstacle) {
        const auto act = std::string(nameOf(obstacle)) + " in the place of " + endpoint.what;
        obstruct(endpoint.path, obstacle);
        const auto run = runProcess(endpoint.program);
        const auto said = run.out + run.err;
        EXPECT_EQ(run.exitStatus, 1) << act << "\n" << said;
        const auto at = said.find(namesTheOwner);
        EXPECT_NE(at, std::string::npos) << act << "\n" << said;
        EXPECT_EQ(said.find(namesTheOwner, at + 1), std::string::npos) << act << "\n" << said;
        EXPECT_TRUE(isHis(endpoint.path)) << act;
        EXPECT_FALSE(fs::exists("/tmp/elsewhere")) << act;
        std::cout << "refused: " << act << "\n";
        clear(endpoint.path);
    }

    void expectNamed(const std::string& path) {
        const auto endpoint = std::ranges::find(endpoints(), path, &Endpoint::path);
        ASSERT_NE(endpoint, endpoints().end());
        for (const auto obstacle : obstacles) {
            expectNamed(*endpoint, obstacle);
        }
    }
};

TEST_F(SquattedNamesTest, OfTheGatewaysReceivingEnd) {
    expectNamed("/tmp/events");
}

TEST_F(SquattedNamesTest, OfTheGatewaysPublishingEnd) {
    expectNamed("/tmp/events.pub");
}

TEST_F(SquattedNamesTest, OfTheLoopStorage) {
    expectNamed("/tmp/loop-storage");
}

TEST_F(SquattedNamesTest, OfTheHostMonitor) {
    expectNamed("/tmp/host-monitor");
}

TEST_F(SquattedNamesTest, OfTheIngestService) {
    expectNamed("/tmp/deltacast");
}

// The service goes on without its registry's endpoint, and both sides say why, once.
TEST_F(SquattedNamesTest, OfTheServicesRegistry) {
    for (const auto obstacle : obstacles) {
        const auto act = std::string(nameOf(obstacle)) + " in the place of the registry's endpoint";
        obstruct("/tmp/resource", obstacle);
        startService();
        EXPECT_TRUE(service().waitForLog(namesTheOwner)) << act;
        EXPECT_TRUE(api().info()) << act;
        EXPECT_TRUE(isHis("/tmp/resource")) << act;
        EXPECT_FALSE(fs::exists("/tmp/elsewhere")) << act;
        EXPECT_EQ(service().stop(), Ending::exited(0));
        const auto lines = service().log().all();
        const auto isAboutHim = [](const auto& line) {
            return line.find(" ERROR ") != std::string::npos &&
                   line.find(namesTheOwner) != std::string::npos;
        };
        // Who would answer, and who would ask.
        EXPECT_EQ(std::ranges::count_if(lines, isAboutHim), 2) << service().log().text();
        std::cout << "refused: " << act << "\n";
        clear("/tmp/resource");
    }
}

}  // namespace

}  // namespace tarn::test
