#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/FakeGateway.h"
#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

using nlohmann::json;
using test::FakeService;
using testing::HasSubstr;

namespace {

class DeviceCommandsTest : public TarnctlFixture {
  protected:
    DeviceCommandsTest() { service.watches(test::treeOf("host-1", "disk full")); }
};

}  // namespace

TEST_F(DeviceCommandsTest, DevicesAreATable) {
    const CommandResult run = tarnctl({"devices"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out,
              "ID      NAME      CLASS  STATUS\n"
              "host-1  Studio 1  host   warning: disk full\n");
    EXPECT_EQ(service.lastRequest().type(), FakeService::Request::GET_MONITORING_INFO);
}

TEST_F(DeviceCommandsTest, DevicesAreOneDocumentWithoutWhatIsBelowThem) {
    const auto document = json::parse(tarnctl({"devices", "--json"}).out);
    ASSERT_EQ(document["devices"].size(), 1U);
    EXPECT_EQ(document["devices"][0],
              json::parse(R"({"id": "host-1", "name": "Studio 1", "device_class": "HOST",
                  "global_status": {"level": "WARNING", "description": "disk full"}})"));
}

TEST_F(DeviceCommandsTest, SaysThatThereAreNoDevices) {
    service.watches({});
    EXPECT_EQ(tarnctl({"devices"}).out, "no devices\n");
    EXPECT_EQ(json::parse(tarnctl({"devices", "--json"}).out), json::parse(R"({"devices": []})"));
}

TEST_F(DeviceCommandsTest, TheTreeIsDrawn) {
    const CommandResult run = tarnctl({"tree"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out,
              "System (system)\n"
              "└─ host-1 \"Studio 1\" (host)  warning: disk full\n"
              "   └─ cpu0  ok\n"
              "         Load: 12.5\n");
    EXPECT_THAT(tarnctl({"tree", "--properties"}).out, HasSubstr("         Serial = A-1\n"));
}

TEST_F(DeviceCommandsTest, ThePartBelowADeviceIsDrawn) {
    EXPECT_EQ(tarnctl({"tree", "cpu0"}).out, "cpu0  ok\n   Load: 12.5\n");
    const CommandResult run = tarnctl({"tree", "\x1b[2J"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: no device \\x1b[2J\n");
}

TEST_F(DeviceCommandsTest, TheTreeIsOneDocument) {
    const auto whole = json::parse(tarnctl({"tree", "--json"}).out);
    EXPECT_EQ(whole["device_tree"]["sub_devices"][0]["id"], "host-1");
    const auto part = json::parse(tarnctl({"tree", "cpu0", "--json"}).out);
    EXPECT_EQ(part["device_tree"]["statuses"][0]["double_value"], 12.5);
}

TEST_F(DeviceCommandsTest, ARefusalIsSaid) {
    service.answers(FakeService::Request::GET_MONITORING_INFO, [](const auto&) {
        auto reply = std::make_unique<FakeService::Reply>();
        reply->set_type(FakeService::Reply::GET_MONITORING_INFO);
        reply->set_success(false);
        reply->set_error_message("not today");
        return reply;
    });
    for (const char* command : {"tree", "devices"}) {
        const CommandResult run = tarnctl({command});
        EXPECT_EQ(run.status, ExitStatus::Failed);
        EXPECT_EQ(run.err, "tarnctl: not today\n");
    }
}

TEST_F(DeviceCommandsTest, WrongLinesAreRefusedBeforeAnythingIsAsked) {
    for (const auto& line :
         std::vector<std::vector<std::string>>{{"tree", "a", "b"},
                                               {"tree", "--events-endpoint", "ipc:///tmp/x"},
                                               {"tree", "--watch", "--events-endpoint", "nonsense"},
                                               {"events", "--type", "nonsense"},
                                               {"events", "--count", "0"},
                                               {"events", "--count", "-1"},
                                               {"events", "--count", "1.5"},
                                               {"events", "--count", "nan"},
                                               {"devices", "x"}}) {
        EXPECT_EQ(tarnctl(line).status, ExitStatus::Usage) << line.back();
    }
    EXPECT_TRUE(service.requests().empty());
}

}  // namespace tarn::cli
