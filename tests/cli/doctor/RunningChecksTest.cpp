#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "cli/doctor/Checks.h"
#include "platform/socket/Socket.h"
#include "tests/cli/doctor/TestMachine.h"

// What runs: units, sockets, versions, limits.
namespace tarn::cli {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr auto systemctl = "/usr/bin/systemctl";

class DoctorsProcessesTest : public testing::Test {
  protected:
    DoctorsProcessesTest() { test.make("/tmp", fs::perms(0777)); }

    void process(int id, const std::string& name, const std::string& executable,
                 const std::string& descriptors = "65536") const {
        const auto folder = "/proc/" + std::to_string(id);
        test.write(folder + "/comm", name + "\n");
        test.write(folder + "/limits",
                   "Limit  Soft Limit  Hard Limit  Units\nMax open files            " +
                       descriptors + "       65536     files\n");
        test.make(folder + "/fd", fs::perms(0755));
        if (!executable.empty()) {
            fs::create_symlink(executable, machine.at(folder + "/exe"));
        }
    }

    std::vector<std::string> withUnit(const std::string& properties) {
        test.programs[systemctl] = {0, "Id=a.service\nLoadState=loaded\n" + properties};
        return textsOf(checkUnits(machine));
    }

    TestMachine test;
    Machine& machine = test.machine;
};

/// A server on one of the machine's endpoints.
std::unique_ptr<socket::Socket> listener(const Machine& machine, const std::string& name) {
    auto server = std::make_unique<socket::Socket>("server", socket::ClosePolicy::Discard);
    server->createAndConnect(
        socket::Protocol::Reply,
        socket::SocketEndpoint(socket::Transport::Ipc, machine.at("/tmp/" + name).string(), 0), 0);
    return server;
}

}  // namespace

TEST_F(DoctorsProcessesTest, UnitsThatRunAreNoFinding) {
    EXPECT_THAT(
        withUnit("ActiveState=active\nSubState=running\nNRestarts=2\nUnitFileState=enabled\n"),
        IsEmpty());
    test.programs[systemctl] = {0, "Id=a.service\nLoadState=not-found\nActiveState=inactive\n"};
    EXPECT_THAT(textsOf(checkUnits(machine)), IsEmpty());
}

TEST_F(DoctorsProcessesTest, AUnitThatDoesNotRunIsAnErrorWithTheReason) {
    EXPECT_THAT(withUnit("ActiveState=failed\nResult=watchdog\n"),
                ElementsAre("error: a.service has failed: watchdog"));
    EXPECT_THAT(withUnit("ActiveState=inactive\n"), ElementsAre("error: a.service does not run"));
    EXPECT_THAT(withUnit("ActiveState=activating\nSubState=auto-restart\nResult=exit-code\n"),
                ElementsAre("error: a.service ended and is started again: exit-code"));
}

TEST_F(DoctorsProcessesTest, AUnitThatEndsOftenOrDoesNotComeBackIsAWarning) {
    EXPECT_THAT(withUnit("ActiveState=active\nNRestarts=3\n"),
                ElementsAre("warning: a.service was started again 3 times"));
    EXPECT_THAT(withUnit("ActiveState=active\nUnitFileState=disabled\n"),
                ElementsAre("warning: a.service does not start with the machine"));
}

TEST_F(DoctorsProcessesTest, EachUnitIsLookedAt) {
    test.programs[systemctl] = {0,
                                "Id=a.service\nActiveState=failed\nResult=x\n\n"
                                "Id=b.service\nActiveState=failed\nResult=y\n"};
    EXPECT_THAT(textsOf(checkUnits(machine)),
                ElementsAre("error: a.service has failed: x", "error: b.service has failed: y"));
    EXPECT_THAT(test.ran.back(), Contains("halden-tarn-loop-storage.service"));
}

TEST_F(DoctorsProcessesTest, WithoutSystemdItSaysThatItSeesNoUnits) {
    EXPECT_THAT(textsOf(checkUnits(machine)),
                ElementsAre("not seen: systemd does not say how its units are"));
    test.programs[systemctl] = {1, "System has not been booted with systemd"};
    EXPECT_THAT(textsOf(checkUnits(machine)),
                ElementsAre("not seen: systemd does not say how its units are"));
}

TEST_F(DoctorsProcessesTest, SocketsOnWhichTheServerListensAreNoFinding) {
    const auto requests = listener(machine, "requests");
    const auto resource = listener(machine, "resource");
    const auto events = listener(machine, "events");
    EXPECT_THAT(textsOf(checkSockets(machine)), IsEmpty());
}

TEST_F(DoctorsProcessesTest, ASocketThatIsNotThereIsAnError) {
    EXPECT_THAT(textsOf(checkSockets(machine)),
                Contains("error: ipc:///tmp/requests: No such file or directory"));
}

TEST_F(DoctorsProcessesTest, ASocketOnWhichNobodyListensAnyMoreIsAnError) {
    const auto path = machine.at("/tmp/requests").string();
    const int left = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const given = &address;
    ASSERT_EQ(::bind(left, static_cast<const sockaddr*>(given), sizeof address), 0);
    ::close(left);
    EXPECT_THAT(textsOf(checkSockets(machine)),
                Contains(HasSubstr("error: ipc:///tmp/requests: nobody listens")));
}

TEST_F(DoctorsProcessesTest, APipeThatKeepsTheNameOfASocketIsNobody) {
    ASSERT_EQ(::mkfifo(machine.at("/tmp/requests").c_str(), 0600), 0);
    EXPECT_THAT(textsOf(checkSockets(machine)),
                Contains("error: ipc:///tmp/requests: nobody listens"));
}

TEST_F(DoctorsProcessesTest, AFileInTheWayIsAnError) {
    test.write("/tmp/requests", "");
    fs::create_symlink("/nowhere", machine.at("/tmp/events"));
    const auto texts = textsOf(checkSockets(machine));
    EXPECT_THAT(texts, Contains("error: /tmp/requests is no socket"));
    EXPECT_THAT(texts, Contains("error: /tmp/events is no socket"));
}

TEST_F(DoctorsProcessesTest, ASocketThatSomebodyElseTookIsAnErrorThatNamesHim) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    const auto squatter = listener(machine, "requests");
    ASSERT_EQ(::lchown(machine.at("/tmp/requests").c_str(), 54321, 54321), 0);
    EXPECT_THAT(textsOf(checkSockets(machine)),
                Contains("error: /tmp/requests was taken by user 54321"));
}

TEST_F(DoctorsProcessesTest, AProcessOfAVersionThatWasReplacedIsAWarning) {
    process(7, "TarnService", "/opt/halden/halden-tarn-service/bin/TarnService (deleted)");
    process(8, "tarnGateway", "/opt/halden/halden-tarn-gateway/bin/tarnGateway");
    process(9, "TarnService", "/home/me/TarnService (deleted)");
    process(10, "bash", "/opt/halden/bash (deleted)");
    EXPECT_THAT(
        textsOf(checkVersions(machine)),
        ElementsAre(
            "warning: TarnService (process 7) is of a version that is not installed any more"));
}

TEST_F(DoctorsProcessesTest, ProcessesThatThisUserMayNotSeeAreCounted) {
    process(7, "TarnService", "");
    process(8, "tarnWorkflowLau", "");
    EXPECT_THAT(textsOf(checkVersions(machine)),
                ElementsAre("not seen: of 2 processes this user may not see the program"));
}

TEST_F(DoctorsProcessesTest, TooFewDescriptorsAreAWarningForWhoHasClients) {
    process(7, "TarnService", "", "1024");
    process(8, "tarnWorkflowLau", "", "1024");
    process(9, "tarnGateway", "", "65536");
    EXPECT_THAT(textsOf(checkLimits(machine)),
                ElementsAre(HasSubstr("TarnService (process 7) may have 1024")));
}

TEST_F(DoctorsProcessesTest, DescriptorsThatAreNearlyUsedUpAreAnError) {
    process(7, "TarnService", "", "5000");
    for (int n = 0; n <= 4000; ++n) {
        test.write("/proc/7/fd/" + std::to_string(n), "");
    }
    EXPECT_THAT(textsOf(checkLimits(machine)),
                ElementsAre("error: TarnService (process 7) has 4001 of 5000 descriptors open"));
    fs::remove(machine.at("/proc/7/fd/0"));
    EXPECT_THAT(textsOf(checkLimits(machine)), IsEmpty());
}

}  // namespace tarn::cli
