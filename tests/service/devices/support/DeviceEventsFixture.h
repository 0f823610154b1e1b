#pragma once

#include <gmock/gmock.h>

#include <list>
#include <string>
#include <vector>

#include "service/devices/DeviceController.h"
#include "service/devices/DeviceManager.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/support/BatchReceiver.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::service::devices {

/// A listener, a manager and an emitter, between the events of devices and the batches that follow.
class DeviceEventsFixture : public testing::Test {
  protected:
    DeviceEventsFixture() {
        bed.emitter.startThread(socket::SocketEndpoint::FromString(batches.endpoint()));
        std::list<std::string> errors;
        EXPECT_TRUE(bed.devices.initFromConfiguration(errors));
    }

    static void send(const test::Event& event) {
        EXPECT_TRUE(DeviceController::notifyEvent(&event));
    }

    /// Waits until everything sent before was dealt with; the descriptions of its events.
    std::vector<std::string> settle() {
        send(test::removeEvent("the end"));
        std::vector<std::string> events;
        while (events.empty() || events.back() != "3 the end class 0") {
            const auto next = test::describeEvents(batches.next());
            events.insert(events.end(), next.begin(), next.end());
        }
        events.pop_back();
        return events;
    }

    test::ServiceBed bed;
    test::BatchReceiver batches;
};

}  // namespace tarn::service::devices
