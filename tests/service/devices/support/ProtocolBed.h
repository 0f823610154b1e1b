#pragma once

#include <gmock/gmock.h>

#include <optional>

#include "service/devices/DeviceEventListener.h"
#include "service/devices/protocol/TarnProtocolDeviceController.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/devices/support/FakeDevice.h"
#include "tests/service/devices/support/ManualPause.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {

/// A device and the controller that watches it; what the controller sends is recorded, and time
/// passes when the test lets it.
class ProtocolBed : public testing::Test {
  protected:
    using Request = FakeDevice::Request;
    using Controller = service::devices::TarnProtocolDeviceController;

    /// Starts to watch, and waits until the first contact is over.
    void watch();

    /// The same for a device that is alive and told so.
    void watchLiving();

    /// Lets the present pause pass; the next one's length.
    std::chrono::milliseconds next() { return pause.next(); }

    Controller::Dependencies dependencies();

    /// The types of all events so far, once there are `count`.
    std::vector<Event::Type> events(std::size_t count);

    /// A line of the controller.
    std::string line(const std::string& level, const std::string& text) const;

    const LogCapture log;
    EventRecorder recorder;
    ManualPause pause;
    FakeDevice device{camera("cam1")};
    /// Not started: it takes note of endpoints.
    class Listener : public service::devices::DeviceEventListener {
      public:
        Listener();
        using DeviceEventListener::listenEndpoints;
    } listener;
    std::chrono::milliseconds answerWithin{std::chrono::seconds(20)};
    std::optional<Controller> controller;
};

}  // namespace tarn::test
