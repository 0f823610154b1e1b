#pragma once

#include "platform/utils/MessageFormatter.h"
#include "proto/monitoring.fwd.h"

namespace tarn::service::devices {

/// Watches one device and describes it. A controller does not touch the device tree: it tells the
/// DeviceEventListener what has changed.
class DeviceController : public tarn::utils::IMessageFormatter {
  public:
    DeviceController() = default;
    ~DeviceController() override = default;
    DeviceController(const DeviceController&) = delete;
    DeviceController& operator=(const DeviceController&) = delete;

    /// Ends the controller's threads and connections. Safe to call more than once, from any thread
    /// but the controller's own.
    virtual void stop() = 0;

    /// Sends an event to the DeviceEventListener; events of one thread arrive in the order sent.
    /// False when it was not sent, which is logged. Waits one second at most, which happens only
    /// when the listener is far behind. Any thread; all controllers share one socket.
    static bool notifyEvent(const tarn::proto::monitoring::DeviceToTarnServiceEvent* event);
};

}  // namespace tarn::service::devices
