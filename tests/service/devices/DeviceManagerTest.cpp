#include "service/devices/DeviceManager.h"

#include <gmock/gmock.h>

#include "service/devices/DeviceController.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/devices/support/FakeProcesses.h"
#include "tests/service/support/BatchReceiver.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using device_tree::NamedStatus;
using test::camera;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

std::string deviceSection(const std::string& type, const std::string& endpoint) {
    return "<TarnProtocolDevice type=\"" + type + "\"><MonitoringInterface>" + endpoint +
           "</MonitoringInterface></TarnProtocolDevice>";
}

class Probe : public DeviceController {
  public:
    Probe(std::string name, std::vector<std::string>& told) : name(std::move(name)), told(told) {
        told.push_back("made " + this->name);
    }
    ~Probe() override { told.push_back("gone " + name); }
    std::string messageHeader() const override { return name; }
    void stop() override { told.push_back("stopped " + name); }

  private:
    const std::string name;
    std::vector<std::string>& told;
};

}  // namespace

class DeviceManagerTest : public testing::Test {
  protected:
    ~DeviceManagerTest() override {
        std::string error;
        listener.stop(error);
    }

    void startEmitter() {
        emitter.startThread(socket::SocketEndpoint::FromString(batches.endpoint()));
    }

    DeviceNode tree() { return *manager.getTree().lock(); }
    std::shared_ptr<DeviceNode> device(const std::string& id) { return tree().getDeviceById(id); }
    std::uint64_t framesOf(const std::string& id) {
        return std::get<std::uint64_t>(device(id)->getStatus("frames")->getValue());
    }

    static NamedStatus frames(std::uint64_t count) { return {"frames", count}; }

    /// Those of ingest services are not set up: they only stop.
    std::shared_ptr<DeviceController> make(const configuration::TarnDevice& device) {
        const auto& endpoint = device.monitoringInterface;
        if (device.type == configuration::TarnDeviceType::GENERIC) {
            return std::make_shared<Probe>(endpoint, told);
        }
        ingestControllers.push_back(std::make_shared<DeltacastDeviceController>(
            endpoint.substr(endpoint.rfind('/') + 1),
            DeltacastDeviceController::Dependencies{
                listener, bed.configuration, bed.proxy, processes, bed.shell(),
                [this](auto, const auto&) { ++ingestPauses; }}));
        return ingestControllers.back();
    }

    test::ServiceBed bed{deviceSection("Generic", "ipc:///tmp/one") +
                         deviceSection("Deltacast", "ipc:///tmp/two") +
                         deviceSection("Generic", "ipc:///tmp/three")};
    test::BatchReceiver batches;
    EventEmitter emitter{std::chrono::hours(1)};
    std::vector<std::string> told;
    test::FakeProcesses processes;
    std::vector<std::shared_ptr<DeltacastDeviceController>> ingestControllers;
    int ingestPauses = 0;
    DeviceEventListener listener{[this]() -> DeviceManager& { return manager; }};
    DeviceManager manager{
        {bed.configuration, listener, emitter,
         [this](const configuration::TarnDevice& device) { return make(device); }}};
    std::list<std::string> errors{"from before"};
};

TEST_F(DeviceManagerTest, BeginsWithTheRootAlone) {
    EXPECT_TRUE(tree() == DeviceNode("System", "System", device_tree::DeviceClass::System));
    EXPECT_EQ(tree().size(), 1U);
}

TEST_F(DeviceManagerTest, AppliesAGlobalStatusOfAnyNode) {
    manager.handleDeviceAddEvent(camera("cam1"));
    const GlobalStatus bad(GlobalStatus::Level::Error, "no picture");
    manager.handleStatusChangeEvent({{"cam1", bad}, {"System", bad}}, {});
    EXPECT_EQ(device("cam1")->getGlobalStatus(), bad);
    EXPECT_EQ(tree().getGlobalStatus(), bad);
}

TEST_F(DeviceManagerTest, WarnsOfTheGlobalStatusOfAnUnknownNodeAndAppliesTheRest) {
    manager.handleDeviceAddEvent(camera("cam1"));
    const GlobalStatus good(GlobalStatus::Level::Ok, "fine");
    manager.handleStatusChangeEvent({{"cam9", good}, {"cam1", good}}, {{"cam1", frames(3)}});
    EXPECT_TRUE(bed.log.has(
        "WARN DeviceManager > Could not update global status of node cam9: node not found"));
    EXPECT_EQ(device("cam1")->getGlobalStatus(), good);
    EXPECT_EQ(framesOf("cam1"), 3U);
}

TEST_F(DeviceManagerTest, WarnsOfTheNamedStatusOfAnUnknownNodeAndAppliesTheRest) {
    manager.handleDeviceAddEvent(camera("cam1"));
    manager.handleStatusChangeEvent({}, {{"cam9", frames(2)}, {"cam1", frames(3)}});
    EXPECT_TRUE(bed.log.has(
        "WARN DeviceManager > Could not update status frames of node cam9: node not found"));
    EXPECT_EQ(framesOf("cam1"), 3U);
}

TEST_F(DeviceManagerTest, WarnsOfAStatusThatTheNodeDoesNotHaveAndChangesNothing) {
    manager.handleDeviceAddEvent(camera("cam1"));
    const auto before = tree();
    manager.handleStatusChangeEvent({}, {{"cam1", NamedStatus("lost", std::uint64_t{1})}});
    EXPECT_TRUE(bed.log.has(
        "WARN DeviceManager > Could not update status lost of node cam1: status not found"));
    EXPECT_TRUE(tree() == before);
}

TEST_F(DeviceManagerTest, TakesOverTheValueOfAStatusAndKeepsItsType) {
    manager.handleDeviceAddEvent(camera("cam1"));
    manager.handleStatusChangeEvent({}, {{"cam1", NamedStatus("frames", std::string("12"))}});
    EXPECT_EQ(framesOf("cam1"), 12U);
}

TEST_F(DeviceManagerTest, AStatusChangeWithoutItemsRefreshesTheSnapshotAndWakesNobody) {
    startEmitter();
    manager.handleDeviceAddEvent(camera("cam1"));
    batches.next();
    manager.handleStatusChangeEvent({}, {});
    EXPECT_FALSE(batches.hasMore(std::chrono::milliseconds(200)));
    emitter.stopThread();  // what has gathered goes out at once
    const auto batch = batches.next();
    EXPECT_TRUE(DeviceNode(batch.device_tree()) == tree());
    EXPECT_THAT(batch.events(), IsEmpty());
}

TEST_F(DeviceManagerTest, TellsOfAnAddedDeviceAtOnceWithTheTreeAfterIt) {
    startEmitter();
    manager.handleDeviceAddEvent(camera("cam1"));
    const auto batch = batches.next();
    EXPECT_THAT(test::describeEvents(batch), ElementsAre("2 cam1 class 2"));
    EXPECT_TRUE(DeviceNode(batch.device_tree()) == tree());
    EXPECT_TRUE(device("cam1"));
}

TEST_F(DeviceManagerTest, TellsOfAChangedDeviceAndReplacesIt) {
    manager.handleDeviceAddEvent(camera("cam1", 1));
    startEmitter();
    batches.next();
    manager.handleConfigurationChangeEvent(
        DeviceNode("cam1", "renamed", device_tree::DeviceClass::Host));
    const auto batch = batches.next();
    EXPECT_THAT(test::describeEvents(batch), ElementsAre("4 cam1 class 4"));
    EXPECT_EQ(device("cam1")->getName(), "renamed");
    EXPECT_EQ(tree().size(), 2U);
}

TEST_F(DeviceManagerTest, TellsOfARemovedDeviceWithItsClass) {
    manager.handleDeviceAddEvent(camera("cam1"));
    manager.handleDeviceRemoveEvent("cam1");
    startEmitter();
    const auto batch = batches.next();
    EXPECT_THAT(test::describeEvents(batch), ElementsAre("2 cam1 class 2", "3 cam1 class 2"));
    EXPECT_EQ(batch.device_tree().sub_devices_size(), 0);
}

TEST_F(DeviceManagerTest, TellsOfTheRemovalOfAnUnknownDeviceWithClassZeroAndLogsIt) {
    startEmitter();
    manager.handleDeviceRemoveEvent("cam9");
    EXPECT_THAT(test::describeEvents(batches.next()), ElementsAre("3 cam9 class 0"));
    std::string error;
    EXPECT_FALSE(tree().removeSubDevice("cam9", false, error));
    EXPECT_TRUE(bed.log.has("ERROR DeviceManager > " + error));
}

TEST_F(DeviceManagerTest, ADeviceThatGoesLeavesThePartOfItsIdInAnotherDevice) {
    auto rack = camera("a rack");  // comes first when the tree is walked
    std::string error;
    rack.addSubDevice(std::make_shared<DeviceNode>(camera("cam1", 5)), /*replace=*/false, error);
    manager.handleDeviceAddEvent(rack);
    manager.handleDeviceAddEvent(camera("cam1"));
    manager.handleDeviceRemoveEvent("cam1");
    EXPECT_THAT(tree().getSubDevices(), ElementsAre(rack));
    manager.handleShutdownEvent("cam1");
    EXPECT_THAT(tree().getSubDevices(), ElementsAre(rack));
    EXPECT_TRUE(bed.log.contains("ERROR DeviceManager > "));
    startEmitter();
    EXPECT_THAT(
        test::describeEvents(batches.next()),
        ElementsAre("2 a rack class 2", "2 cam1 class 2", "3 cam1 class 2", "3 cam1 class 0"));
}

TEST_F(DeviceManagerTest, ADeviceThatShutsDownIsRemoved) {
    manager.handleDeviceAddEvent(camera("cam1"));
    manager.handleShutdownEvent("cam1");
    manager.handleShutdownEvent("cam1");
    startEmitter();
    EXPECT_THAT(test::describeEvents(batches.next()),
                ElementsAre("2 cam1 class 2", "3 cam1 class 2", "3 cam1 class 0"));
    EXPECT_EQ(tree().size(), 1U);
}

TEST_F(DeviceManagerTest, MakesAControllerForEachDeviceInTheOrderOfTheConfiguration) {
    EXPECT_TRUE(manager.initFromConfiguration(errors));
    EXPECT_THAT(errors, IsEmpty());
    EXPECT_THAT(told, ElementsAre("made ipc:///tmp/one", "made ipc:///tmp/three"));
}

TEST_F(DeviceManagerTest, HasNoDeltacastControllerBeforeItIsInitialised) {
    EXPECT_EQ(manager.getDeltacastController(), nullptr);
}

TEST_F(DeviceManagerTest, MakesAControllerForADeltacastDevice) {
    manager.initFromConfiguration(errors);
    ASSERT_THAT(ingestControllers, SizeIs(1));
    EXPECT_EQ(manager.getDeltacastController(), ingestControllers.front());
    EXPECT_EQ(ingestControllers.front()->messageHeader(), "DeltacastDeviceController on two");
}

TEST_F(DeviceManagerTest, HasTheLastOfTwoDeltacastControllers) {
    test::ServiceBed two(deviceSection("Deltacast", "ipc:///tmp/a") +
                         deviceSection("Deltacast", "ipc:///tmp/b"));
    DeviceManager other({two.configuration, listener, emitter,
                         [this](const auto& device) { return make(device); }});
    other.initFromConfiguration(errors);
    ASSERT_THAT(ingestControllers, SizeIs(2));
    EXPECT_EQ(other.getDeltacastController(), ingestControllers.back());
    other.stopControllers();
    for (const auto& controller : ingestControllers) {
        EXPECT_FALSE(controller->waitForDeviceStarted(1));
    }
    EXPECT_EQ(ingestPauses, 0) << "one that is stopped waits for nothing";
}

TEST_F(DeviceManagerTest, IsBuiltAlsoWhenTheListenerCannotStart) {
    const test::EventRecorder inTheWay;
    EXPECT_FALSE(manager.initFromConfiguration(errors));
    ASSERT_THAT(errors, SizeIs(1));
    EXPECT_NE(errors.front(), "");
    EXPECT_THAT(told, SizeIs(2));
}

TEST_F(DeviceManagerTest, DiscardsControllersAndTreeWhenItIsInitialisedAgain) {
    manager.initFromConfiguration(errors);
    manager.handleDeviceAddEvent(camera("cam1"));
    told.clear();
    EXPECT_TRUE(manager.initFromConfiguration(errors));
    EXPECT_THAT(told, ElementsAre("gone ipc:///tmp/one", "gone ipc:///tmp/three",
                                  "made ipc:///tmp/one", "made ipc:///tmp/three"));
    EXPECT_EQ(tree().size(), 1U);
}

TEST_F(DeviceManagerTest, StopsTheControllersInOrderAndKeepsThem) {
    manager.initFromConfiguration(errors);
    told.clear();
    manager.stopControllers();
    manager.stopControllers();
    EXPECT_THAT(told, ElementsAre("stopped ipc:///tmp/one", "stopped ipc:///tmp/three",
                                  "stopped ipc:///tmp/one", "stopped ipc:///tmp/three"));
}

TEST_F(DeviceManagerTest, DescribesItsTree) {
    manager.handleDeviceAddEvent(camera("cam1"));
    EXPECT_EQ(manager.debugString(), tree().debugString(0));
}

}  // namespace tarn::service::devices
