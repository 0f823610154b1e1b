#include <gmock/gmock.h>

#include "cli/doctor/Checks.h"
#include "cli/doctor/FirewallRules.h"
#include "platform/tls/CertifiedKey.h"
#include "tests/cli/doctor/TestMachine.h"

// What the machine gives: space, a clock, a firewall, a kernel.
namespace tarn::cli {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr auto nft = "/usr/sbin/nft";

class DoctorsSurroundingsTest : public testing::Test {
  protected:
    TestMachine test;
    Machine& machine = test.machine;
};

}  // namespace

TEST_F(DoctorsSurroundingsTest, SpaceThatBecomesShortIsAWarningThenAnError) {
    EXPECT_THAT(textsOf(checkSpace(machine)), IsEmpty());
    test.left.available = 9;
    EXPECT_THAT(textsOf(checkSpace(machine)), Contains("warning: /tmp has 9 % of its space left"));
    test.left.available = 1;
    EXPECT_THAT(textsOf(checkSpace(machine)), Contains("error: /tmp has 1 % of its space left"));
}

TEST_F(DoctorsSurroundingsTest, FilesThatBecomeFewAreFoundWhereTheyAreBounded) {
    test.left.freeFiles = 0;
    EXPECT_THAT(textsOf(checkSpace(machine)), Contains("error: /tmp has 0 % of its files left"));
    test.left.allFiles = 0;
    EXPECT_THAT(textsOf(checkSpace(machine)), IsEmpty());
}

TEST_F(DoctorsSurroundingsTest, AClockThatNobodyKeepsRightIsAWarning) {
    EXPECT_THAT(textsOf(checkClock(machine)), IsEmpty());
    machine.clockIsSynchronised = [] { return false; };
    EXPECT_THAT(textsOf(checkClock(machine)),
                ElementsAre("warning: nothing keeps this machine's clock right"));
    machine.clockIsSynchronised = [] { return std::nullopt; };
    EXPECT_THAT(textsOf(checkClock(machine)),
                ElementsAre("not seen: the kernel does not say whether the clock is right"));
}

TEST_F(DoctorsSurroundingsTest, AClockThatWasSetBackShowsInItsFiles) {
    test.write("/var/log/halden-tarn/service.log", "");
    EXPECT_THAT(textsOf(checkClock(machine)), IsEmpty());
    machine.now = [] { return std::chrono::system_clock::now() - 1h; };
    EXPECT_THAT(
        textsOf(checkClock(machine)),
        ElementsAre("warning: /var/log/halden-tarn/service.log was written later than now: the "
                    "clock was set back"));
}

TEST_F(DoctorsSurroundingsTest, TheFirewallIsAskedForOpenEndpointsOnly) {
    machine.settings.requestsEndpoint = "tcp://127.0.0.1:5555";
    machine.settings.eventsEndpoint = "tcp://localhost:5556";
    machine.settings.resourcesEndpoint = "tcp://[::1]:5557";
    EXPECT_THAT(textsOf(checkFirewall(machine)), IsEmpty());
    EXPECT_THAT(test.ran, IsEmpty());
}

TEST_F(DoctorsSurroundingsTest, AnOpenEndpointWithoutARuleIsAWarning) {
    machine.settings.requestsEndpoint = "tcp://*:5555";
    test.programs[nft] = {
        0, "table inet filter {\n\tchain input {\n\t\ttcp dport 22 accept\n\t}\n}\n"};
    EXPECT_THAT(textsOf(checkFirewall(machine)),
                ElementsAre(HasSubstr("warning: tcp://*:5555 can be reached")));
    test.programs[nft] = {0, "tcp dport 5555 ip saddr 10.0.0.0/8 accept\n"};
    EXPECT_THAT(textsOf(checkFirewall(machine)), IsEmpty());
}

TEST_F(DoctorsSurroundingsTest, AFirewallThatCannotBeSeenIsSaid) {
    machine.settings.requestsEndpoint = "tcp://10.0.0.1:5555";
    EXPECT_THAT(textsOf(checkFirewall(machine)), ElementsAre(HasSubstr("not seen: ")));
    test.programs[nft] = {1, "Operation not permitted"};
    machine.asRoot = false;
    const auto findings = checkFirewall(machine);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].remedy, "run this as root");
}

TEST(FirewallRulesTest, APortIsNamedAloneInASetOrInARange) {
    for (const auto rule :
         {"tcp dport 5555 drop", "\t\ttcp dport { 22, 5555 } accept", "tcp dport 5000-6000 accept",
          "tcp dport { 22, 5000-6000, 80 } drop", "meta l4proto tcp th dport 5555 drop",
          "iifname \"eth0\" tcp dport != 5555 accept"}) {
        EXPECT_TRUE(saysAnythingOf(5555, rule)) << rule;
    }
    for (const auto rule :
         {"", "udp dport 5555 drop", "tcp sport 5555 drop", "tcp dport 55555 drop",
          "tcp dport { 22, 80 } ip saddr 5555", "tcp dport", "tcp dport {", "tcp dport x-y",
          "tcp dport 5556-6000 accept"}) {
        EXPECT_FALSE(saysAnythingOf(5555, rule)) << rule;
    }
}

TEST(FirewallRulesTest, WhatComesInMayBeDroppedUnlessItIsAllowed) {
    EXPECT_TRUE(saysAnythingOf(5555, "type filter hook input priority filter; policy drop;"));
    EXPECT_FALSE(saysAnythingOf(5555, "type filter hook input priority filter; policy accept;"));
    EXPECT_FALSE(saysAnythingOf(5555, "type filter hook output priority filter; policy drop;"));
}

TEST_F(DoctorsSurroundingsTest, WhatTheKernelLacksIsAWarningEach) {
    EXPECT_EQ(checkKernel(machine).size(), 2U);
    test.write("/proc/sys/kernel/seccomp/actions_avail",
               "kill_process kill_thread trap errno log allow\n");
    test.write("/sys/fs/cgroup/cgroup.controllers", "cpu memory\n");
    EXPECT_THAT(textsOf(checkKernel(machine)), IsEmpty());
    machine.landlockVersion = [] { return 0; };
    EXPECT_THAT(textsOf(checkKernel(machine)),
                ElementsAre(HasSubstr("warning: the kernel has no Landlock")));
}

TEST_F(DoctorsSurroundingsTest, ACertificateThatEndsIsAWarningThenAnError) {
    EXPECT_THAT(textsOf(checkCertificates(machine)), IsEmpty());
    test.write("/etc/tarn/other", "");
    const auto now = std::chrono::system_clock::now();
    tls::writeCertifiedKeyFile(machine.at("/etc/tarn/storage.pem").string(),
                               tls::generateCertifiedKey("storage", {now, now + 24h * 100}));
    EXPECT_THAT(textsOf(checkCertificates(machine)), IsEmpty());
    machine.now = [now] { return now + 24h * 90; };
    EXPECT_THAT(textsOf(checkCertificates(machine)),
                ElementsAre(HasSubstr("warning: /etc/tarn/storage.pem expires in ")));
    machine.now = [now] { return now + 24h * 101; };
    EXPECT_THAT(textsOf(checkCertificates(machine)),
                ElementsAre("error: /etc/tarn/storage.pem has expired"));
}

TEST_F(DoctorsSurroundingsTest, ACertificateThatOthersMayReadIsAnError) {
    test.write("/etc/tarn/storage.pem", "nonsense");
    EXPECT_THAT(textsOf(checkCertificates(machine)),
                ElementsAre(HasSubstr("others than its owner may read or write it")));
}

TEST_F(DoctorsSurroundingsTest, AListOfClientsIsReadAndItsModeIsLookedAt) {
    test.write("/etc/tarn/storage-clients", "read " + std::string(64, '1') + " studio\n");
    const auto file = machine.at("/etc/tarn/storage-clients");
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    EXPECT_THAT(textsOf(checkCertificates(machine)), IsEmpty());
    test.write("/etc/tarn/storage-clients", "\nnonsense\n");
    std::filesystem::permissions(file, std::filesystem::perms(0664));
    EXPECT_THAT(textsOf(checkCertificates(machine)),
                ElementsAre("error: /etc/tarn/storage-clients: others than its owner may change it",
                            HasSubstr("warning: /etc/tarn/storage-clients line 2: ")));
}

}  // namespace tarn::cli
