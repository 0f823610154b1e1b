#include "service/devices/DevicePresence.h"

#include <gmock/gmock.h>

#include "proto/monitoring.pb.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/ProtocolBed.h"

namespace tarn::service::devices {

using tarn::proto::monitoring::DeviceRemoveEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using testing::ElementsAre;
using testing::IsEmpty;

class DevicePresenceTest : public testing::Test {
  protected:
    bool removeGhost(const std::string& id) {
        return presence.removeGhost(id, [this](const DeviceToTarnServiceEvent* event) {
            EXPECT_EQ(event->type(), DeviceToTarnServiceEvent::DEVICE_REMOVE);
            removed.push_back(event->GetExtension(DeviceRemoveEvent::base).device_id());
            return isTaken;
        });
    }

    std::set<std::string> tree{"cam1"};
    bool isTaken = true;
    std::vector<std::string> removed;
    DevicePresence presence{[this](const std::string& id) { return tree.contains(id); }};
};

TEST_F(DevicePresenceTest, ANodeThatNobodyIsConnectedWithIsAGhost) {
    EXPECT_TRUE(removeGhost("cam1"));
    EXPECT_THAT(removed, ElementsAre("cam1"));
}

TEST_F(DevicePresenceTest, ADeviceThatIsNotInTheTreeIsNone) {
    EXPECT_FALSE(removeGhost("cam2"));
    EXPECT_THAT(removed, IsEmpty());
}

TEST_F(DevicePresenceTest, AConnectedDeviceIsNone) {
    presence.connected("cam1");
    EXPECT_FALSE(removeGhost("cam1"));
    EXPECT_THAT(removed, IsEmpty());
}

TEST_F(DevicePresenceTest, ADeviceIsConnectedUntilTheLastOfThatIdIsLost) {
    presence.connected("cam1");
    presence.connected("cam1");
    presence.lost("cam1");
    EXPECT_FALSE(removeGhost("cam1"));
    presence.lost("cam1");
    EXPECT_TRUE(removeGhost("cam1"));
    presence.lost("cam1");  // changes nothing
    presence.connected("cam1");
    EXPECT_FALSE(removeGhost("cam1"));
}

TEST_F(DevicePresenceTest, ARemovalThatIsNotTakenDidNotHappen) {
    isTaken = false;
    EXPECT_FALSE(removeGhost("cam1"));
}

/// What a controller says of its device.
class PresentDevicesTest : public test::ProtocolBed {
  protected:
    ~PresentDevicesTest() override { controller.reset(); }  // before what it tells

    void watchWithPresence() {
        device.begin();
        auto with = dependencies();
        with.presence = &presence;
        controller.emplace(device.endpoint(), with);
        pause.await();
    }

    bool isPresent(const std::string& id) {
        return !presence.removeGhost(id, [](const DeviceToTarnServiceEvent*) { return true; });
    }

    DevicePresence presence{[](const std::string&) { return true; }};
};

TEST_F(PresentDevicesTest, AreThoseThatAreWatchedUnderTheIdThatTheyTell) {
    watchWithPresence();
    EXPECT_TRUE(isPresent("cam1"));
    device.describeAs(test::camera("cam2"));
    next();
    EXPECT_FALSE(isPresent("cam1"));
    EXPECT_TRUE(isPresent("cam2"));
    controller->stop();
    EXPECT_FALSE(isPresent("cam2"));
}

TEST_F(PresentDevicesTest, AreThoseTooWhoseDescriptionIsRefused) {
    device.describeAs(test::deepCamera("cam1", 65));
    watchWithPresence();
    EXPECT_TRUE(isPresent("cam1"));
}

}  // namespace tarn::service::devices
