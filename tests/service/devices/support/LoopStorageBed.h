#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/device_tree/DeviceNode.h"
#include "service/devices/storage/LoopStorageDeviceController.h"
#include "service/devices/storage/TrackTasks.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/devices/support/ManualPause.h"
#include "tests/service/fake_storage/FakeStorage.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {

/// A loop storage on a Unix socket and the controller that watches it; what the controller sends is
/// recorded, and time passes when the test lets it.
class LoopStorageBed : public testing::Test {
  protected:
    using Controller = service::devices::LoopStorageDeviceController;

    static constexpr auto path = "/run/loops";
    static constexpr auto id = "Storage-unix-/run/loops";

    /// Starts to watch, and waits for the end of the first poll.
    void watch();

    /// Lets the present pause pass; the next one's length.
    std::chrono::milliseconds next() { return pause.next(); }

    Controller::Dependencies dependencies() { return {tasks, pause.function()}; }

    /// The event of that number, from 0.
    Event event(std::size_t number) { return recorder.waitFor(number + 1)[number]; }

    /// What that event adds, or has changed as a whole.
    device_tree::DeviceNode added(std::size_t number);
    device_tree::DeviceNode changed(std::size_t number);

    static std::string line(const std::string& level, const std::string& text);

    const LogCapture log;
    EventRecorder recorder;
    ManualPause pause;
    FakeStorage storage{path};
    service::devices::TrackTasks tasks;
    std::unique_ptr<Controller> controller;
};

/// A status or property of a node as text; "absent" without it.
std::string statusOf(const device_tree::DeviceNode& node, const std::string& name);
std::string propertyOf(const device_tree::DeviceNode& node, const std::string& name);

}  // namespace tarn::test
