#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <optional>

#include "service/devices/DeviceEventListener.h"
#include "service/devices/capture/DeltacastDeviceController.h"
#include "tests/service/devices/support/CaptureFormats.h"
#include "tests/service/devices/support/EventRecorder.h"
#include "tests/service/devices/support/FakeDevice.h"
#include "tests/service/devices/support/FakeProcesses.h"
#include "tests/service/devices/support/ManualPause.h"
#include "tests/service/support/ServiceBed.h"

namespace tarn::test {

/// An ingest service that is a fake device, and its controller. Time passes when the test lets it;
/// commands are noted in the place of a shell.
class DeltacastBed : public testing::Test {
  public:
    enum class Services { None, One, OneThatCannotBeFilled };

  protected:
    using Request = FakeDevice::Request;
    using Controller = service::devices::DeltacastDeviceController;
    using Status = service::devices::DeltacastStatus;

    enum class Persistence { None, File };
    explicit DeltacastBed(Persistence persistence = Persistence::File,
                          Services services = Services::One);

    /// Starts to watch, and waits until the first cycle is over.
    void watch();
    /// The same for a service that is alive.
    void watchLiving();

    /// Lets the present pause pass; the next one's length.
    std::chrono::milliseconds next() { return pause.next(); }

    /// The same, and the clock goes on by what passes; it stands still otherwise.
    std::chrono::milliseconds pass();

    Controller::Dependencies dependencies();

    /// A line of the controller, and how often there was one.
    std::string line(const std::string& level, const std::string& text) const;
    long count(const std::string& level, const std::string& text) const;
    /// The texts of the controller's lines, all or from the first that is `text` on.
    std::vector<std::string> lines() const;
    std::vector<std::string> linesFrom(const std::string& text) const;

    static constexpr auto ping = Request::PING;
    static constexpr auto description = Request::GET_DESCRIPTION;
    static constexpr auto control = Request::CONTROL;
    static constexpr std::chrono::milliseconds cycle{500};
    static constexpr std::chrono::milliseconds second{1000};

    TemporaryFolder folder;
    const std::string file;
    ServiceBed bed;
    const LogCapture& log = bed.log;
    EventRecorder recorder;
    ManualPause pause;
    FakeProcesses processes;
    FakeDevice device{ingestNode("4711")};
    /// Not started: it takes note of endpoints.
    class Listener : public service::devices::DeviceEventListener {
      public:
        Listener();
        using DeviceEventListener::listenEndpoints;
    } listener;
    std::chrono::milliseconds answerWithin{std::chrono::seconds(20)};
    std::atomic<std::chrono::milliseconds> time{std::chrono::milliseconds(0)};
    std::string launchRecord;  // none
    std::optional<Controller> controller;
};

}  // namespace tarn::test
