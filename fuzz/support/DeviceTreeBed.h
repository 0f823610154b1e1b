#pragma once

#include <string>
#include <string_view>

#include "platform/device_tree/DeviceNode.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/devices/DeviceEventListener.h"
#include "service/devices/DeviceManager.h"
#include "service/events/EventEmitter.h"

namespace tarn::fuzz {

/// The service's device tree with what stands before it and behind it, none of which runs: events
/// are handed to the listener by the caller, and batches are not sent.
class DeviceTreeBed {
  public:
    DeviceTreeBed();

    enum class Receipt { Taken, Refused, Unreadable };

    /// As if these bytes had come from a device.
    Receipt receive(const std::string& bytes);

    device_tree::DeviceNode tree() { return *devices.getTree().lock(); }

    /// Ends the run with a finding unless the tree can be told: all of it is within what readers
    /// read, and the bytes that are kept for it are its own.
    void checkTree();

  private:
    struct Listener : service::devices::DeviceEventListener {
        using DeviceEventListener::admits;
        using DeviceEventListener::DeviceEventListener;
        std::size_t largestMessage() const { return maxMessageSize; }
    };

    service::configuration::ConfigurationHandler configuration;
    service::EventEmitter emitter;
    service::devices::DeviceManager devices;
    Listener listener;
};

}  // namespace tarn::fuzz
