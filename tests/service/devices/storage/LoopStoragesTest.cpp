// The loop storages among the devices that the manager makes controllers for.
#include <gmock/gmock.h>

#include "platform/device_tree/DeviceNode.h"
#include "service/configuration/LoopStorageConfigurationHandler.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/TrackTasks.h"
#include "tests/service/fake_storage/FakeStorage.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/Eventually.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;

namespace {

std::string storageSection(const std::string& elements) {
    return "<Storage type=\"LoopStorage\">" + elements + "</Storage>";
}

}  // namespace

class LoopStoragesTest : public testing::Test {
  protected:
    LoopStoragesTest() {
        bed.makeLoopStorageController = [this](const auto& storage) {
            const LoopStorageDeviceController::Dependencies dependencies{tasks};
            return storage.isTcpInterface()
                       ? std::make_shared<LoopStorageDeviceController>(
                             storage.getAddress(), storage.getPort(), dependencies)
                       : std::make_shared<LoopStorageDeviceController>(storage.getAddress(),
                                                                       dependencies);
        };
    }

    ~LoopStoragesTest() override { bed.devices.destroyControllers(); }

    test::FakeStorage first{"/run/one"};
    test::FakeStorage second{"studio", 4711};
    TrackTasks tasks;
    test::ServiceBed bed{
        storageSection("<InterfaceType>unix</InterfaceType>"
                       "<InterfaceAddress>/run/one</InterfaceAddress>") +
        storageSection("<InterfaceType>tcp</InterfaceType>"
                       "<InterfaceAddress>studio</InterfaceAddress><TcpPort>4711</TcpPort>")};
    std::list<std::string> errors;
};

TEST_F(LoopStoragesTest, AreAllWatchedAndTheLastOneTakesTheRequests) {
    EXPECT_FALSE(bed.devices.getLoopStorageController());
    ASSERT_TRUE(bed.devices.initFromConfiguration(errors));
    EXPECT_EQ(bed.devices.getLoopStorageController()->messageHeader(),
              "LoopStorageDeviceController on studio:4711");
    EXPECT_TRUE(test::eventually([this] { return bed.devices.getTree().lock()->size() == 3; }));
    const DeviceNode tree = *bed.devices.getTree().lock();
    EXPECT_TRUE(tree.getDeviceById("Storage-unix-/run/one"));
    EXPECT_TRUE(tree.getDeviceById("Storage-tcp-studio:4711"));
}

TEST_F(LoopStoragesTest, StoppingLeavesThemAndDestroyingEndsThem) {
    ASSERT_TRUE(bed.devices.initFromConfiguration(errors));
    bed.devices.stopControllers();
    EXPECT_TRUE(bed.devices.getLoopStorageController());
    bed.devices.destroyControllers();
    EXPECT_FALSE(bed.devices.getLoopStorageController());
    EXPECT_EQ(first.openConnections(), 0U);
    EXPECT_EQ(second.openConnections(), 0U);
}

TEST_F(LoopStoragesTest, AreMadeAnewWhenTheManagerIsInitialisedAgain) {
    ASSERT_TRUE(bed.devices.initFromConfiguration(errors));
    const std::weak_ptr<LoopStorageDeviceController> old = bed.devices.getLoopStorageController();
    ASSERT_TRUE(bed.devices.initFromConfiguration(errors));
    EXPECT_TRUE(old.expired());
    EXPECT_TRUE(bed.devices.getLoopStorageController());
}

}  // namespace tarn::service::devices
