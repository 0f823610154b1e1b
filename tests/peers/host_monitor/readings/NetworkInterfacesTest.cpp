#include "peers/host_monitor/readings/NetworkInterfaces.h"

#include <gtest/gtest.h>

#include "tests/peers/host_monitor/MachineFolder.h"

namespace tarn::peers::host_monitor {
namespace {

constexpr auto recorded =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop "
    "fifo colls carrier compressed\n"
    "    lo: 9389779   23073    0    0    0     0          0         0  9389779   23073    0    0  "
    "  0     0       0          0\n"
    "  eth0:52710105    1321    3    0    0     0          0         0    80801     856    4    0  "
    "  0     0       0          0\n";

TEST(NetworkCountersTest, AreReadByInterface) {
    const auto interfaces = parseNetworkCounters(recorded);
    ASSERT_EQ(interfaces.size(), 2U);
    const auto& counters = interfaces.at("eth0");
    EXPECT_EQ(counters.receivedBytes, 52710105U);
    EXPECT_EQ(counters.receiveErrors, 3U);
    EXPECT_EQ(counters.sentBytes, 80801U);
    EXPECT_EQ(counters.sendErrors, 4U);
}

TEST(NetworkCountersTest, BrokenLinesAndNamesThatLeaveTheFolderAreLeftOut) {
    const std::string numbers = ": 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";
    for (const std::string name : {"", ".", "..", "../x", "a/b", "a-name-of-16-chr"}) {
        EXPECT_TRUE(parseNetworkCounters(name + numbers).empty()) << name;
    }
    for (const char* text :
         {"", "eth0: 1 2 3", "eth0:", "eth0: 1 2 x 4 5 6 7 8 9 10 11 12 13 14 15 16"}) {
        EXPECT_TRUE(parseNetworkCounters(text).empty()) << text;
    }
    EXPECT_EQ(parseNetworkCounters("eth0" + numbers).size(), 1U);
}

struct NetworkInterfacesTest : testing::Test {
    tarn::test::MachineFolder machine;

    NetworkInterfacesTest() { machine.write("proc/net/dev", recorded); }

    void write(const std::string& file, const std::string& content) const {
        machine.write("sys/class/net/" + file, content + "\n");
    }
};

TEST_F(NetworkInterfacesTest, ReadsStateAndCarrier) {
    write("eth0/operstate", "up");
    write("eth0/carrier", "1");
    write("eth0/flags", "0x1003");
    write("lo/operstate", "unknown");
    write("lo/flags", "0x9");
    const auto interfaces = readNetworkInterfaces(machine.root());
    const auto& eth0 = interfaces.at("eth0");
    EXPECT_EQ(eth0.state, "up");
    EXPECT_TRUE(eth0.hasCarrier);
    EXPECT_EQ(eth0.kind, NetworkInterface::Kind::Other);
    EXPECT_EQ(interfaces.at("lo").state, "up");
    EXPECT_EQ(interfaces.at("lo").kind, NetworkInterface::Kind::Loopback);
}

TEST_F(NetworkInterfacesTest, WithoutFilesItIsDown) {
    const auto eth0 = readNetworkInterfaces(machine.root()).at("eth0");
    EXPECT_EQ(eth0.state, "down");
    EXPECT_FALSE(eth0.hasCarrier);
}

TEST_F(NetworkInterfacesTest, OddFilesAreNoFlags) {
    for (const char* flags : {"", "0x", "xyz", "0xfffffffffffffffffff", "1"}) {
        write("eth0/flags", flags);
        EXPECT_EQ(readNetworkInterfaces(machine.root()).at("eth0").state, "down") << flags;
    }
}

}  // namespace
}  // namespace tarn::peers::host_monitor
