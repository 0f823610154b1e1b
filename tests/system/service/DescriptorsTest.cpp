#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/os/FileDescriptor.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

// Few enough to be taken before the first of those who say nothing is asked to go.
constexpr std::size_t limit = 512;
constexpr std::size_t moreThanThat = 600;
const std::string saysSo = " connections: of " + std::to_string(limit) + " file descriptors";
// And one more for a moment: who is turned away has been let in before.
constexpr std::size_t mostForClients = limit - 64 + 1;

/// Connections that say nothing.
class IdleClients {
  public:
    IdleClients(const sockaddr* address, socklen_t size) : size(size) {
        std::memcpy(&this->address, address, size);
    }

    void connect(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            connectOne();
        }
    }
    void leave() { all.clear(); }

  private:
    void connectOne() {
        auto client = std::make_unique<os::FileDescriptor>(
            ::socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(client->get(), reinterpret_cast<const sockaddr*>(&address), size) == 0) {
            all.push_back(std::move(client));
        }
    }

    sockaddr_storage address{};
    const socklen_t size;
    std::vector<std::unique_ptr<os::FileDescriptor>> all;
};

IdleClients onPath(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return {reinterpret_cast<const sockaddr*>(&address), sizeof address};
}

IdleClients onPort(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return {reinterpret_cast<const sockaddr*>(&address), sizeof address};
}

std::vector<std::string> limited(const std::string& program) {
    return {"sh", "-c", "ulimit -n " + std::to_string(limit) + "; exec " + program};
}

std::size_t openDescriptors(pid_t process) {
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::chrono::milliseconds processorTimeOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    long user = 0;
    long system = 0;
    for (int field = 1; field <= 13; ++field) {
        file >> word;
    }
    file >> user >> system;
    return std::chrono::milliseconds((user + system) * 1000 / ::sysconf(_SC_CLK_TCK));
}

class DescriptorsTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        rlimit ours{};
        ::getrlimit(RLIMIT_NOFILE, &ours);
        ours.rlim_cur = ours.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &ours);
    }

    void startLimitedService() {
        limitedRun = std::make_unique<Process>(limited(Service::program));
        ASSERT_TRUE(limitedRun->output().waitFor("Receiving on ", 0));
        ASSERT_TRUE(api().info());  // one who is in before the others
    }

    void expectServedInSpiteOf(IdleClients idle) {
        idle.connect(moreThanThat);
        ASSERT_TRUE(api().info());
        EXPECT_LE(openDescriptors(limitedRun->id()), mostForClients);
        expectHardlyAnyProcessorTime(limitedRun->id());
        EXPECT_TRUE(limitedRun->output().waitFor(saysSo, 0));
        idle.leave();
        EXPECT_TRUE(eventually([] { return Api().info().has_value(); }));
        limitedRun->signal(SIGINT);
        EXPECT_EQ(limitedRun->waitForEnd(30s), Ending::exited(0));
    }

    static void expectHardlyAnyProcessorTime(pid_t process) {
        const auto before = processorTimeOf(process);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(eventually([] { return false; }, 1s));
        const auto elapsed = std::chrono::steady_clock::now() - begin;
        EXPECT_LT(processorTimeOf(process) - before, elapsed / 4);
    }

    std::unique_ptr<Process> limitedRun;
};

TEST_F(DescriptorsTest, ThatRunShortCostNobodyWhoIsInAnything) {
    startLimitedService();
    expectServedInSpiteOf(onPath("/tmp/requests"));
}

TEST_F(DescriptorsTest, ThatRunShortCostNobodyWhoIsInAnythingOverTcp) {
    configureSections(
        "<Endpoints><RequestsEndpoint>tcp://127.0.0.1:47811</RequestsEndpoint></Endpoints>"
        "<Resources><TcpPorts interface=\"127.0.0.1\" from=\"47820\" to=\"47840\"/></Resources>");
    limitedRun = std::make_unique<Process>(limited(Service::program));
    ASSERT_TRUE(limitedRun->output().waitFor("Receiving on ", 0));
    auto idle = onPort(47811);
    idle.connect(moreThanThat);
    EXPECT_TRUE(limitedRun->output().waitFor(saysSo, 0));
    EXPECT_LE(openDescriptors(limitedRun->id()), mostForClients);
    expectHardlyAnyProcessorTime(limitedRun->id());
    limitedRun->signal(SIGINT);
    EXPECT_EQ(limitedRun->waitForEnd(30s), Ending::exited(0));
}

TEST_F(DescriptorsTest, DoNotEndTheGatewayWhenTheyRunShort) {
    Process gateway(limited(gatewayProgram));
    ASSERT_TRUE(gateway.output().waitFor("started: ", 0));
    auto subscribers = onPath("/tmp/events.pub");
    subscribers.connect(moreThanThat);
    EXPECT_TRUE(gateway.output().waitFor(saysSo, 0));
    EXPECT_LE(openDescriptors(gateway.id()), mostForClients);
    gateway.signal(SIGTERM);
    EXPECT_EQ(gateway.waitForEnd(20s), Ending::exited(0));
}

TEST_F(DescriptorsTest, OfJobsAreLimitedAsTheServiceWasStarted) {
    limitedRun = std::make_unique<Process>(std::vector<std::string>{
        "sh", "-c", std::string("ulimit -S -n 512; exec ") + Service::program});
    ASSERT_TRUE(limitedRun->output().waitFor("Receiving on ", 0));
    const auto job = startJob({.pipeline = endless});
    const auto softLimitOf = [](pid_t process) {
        rlimit limit{};
        EXPECT_EQ(::prlimit(process, RLIMIT_NOFILE, nullptr, &limit), 0);
        return limit.rlim_cur;
    };
    EXPECT_GT(softLimitOf(limitedRun->id()), 512U);
    const auto pipelines = processesRunning("tarnPipelineProcess");
    ASSERT_EQ(pipelines.size(), 1U);
    EXPECT_EQ(softLimitOf(pipelines.front().id), 512U);
    EXPECT_TRUE(job->destroy());
    EXPECT_TRUE(job->waitForEnd());
    limitedRun->signal(SIGINT);
    EXPECT_EQ(limitedRun->waitForEnd(30s), Ending::exited(0));
}

}  // namespace

}  // namespace tarn::test
