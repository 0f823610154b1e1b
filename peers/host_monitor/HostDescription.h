#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "peers/host_monitor/Health.h"
#include "peers/host_monitor/readings/HostReader.h"
#include "platform/device_tree/DeviceNode.h"

namespace tarn::peers::host_monitor {

/// Makes the device out of readings of the machine; loads and rates come from the difference to the
/// reading before. Values are rounded, so that a machine at rest looks the same every time. Sizes
/// are in bytes, rates in bytes a second, loads in percent. One thread at a time.
class HostDescription {
  public:
    /// `name` is unique among the machines of a service.
    explicit HostDescription(std::string name);

    std::shared_ptr<tarn::device_tree::DeviceNode> describe(HostReading reading);

  private:
    using Node = tarn::device_tree::DeviceNode;

    Node makePart(const std::string& kind, const std::string& id, const std::string& name) const;
    double loadOf(int processor, const ProcessorTicks& ticks) const;
    void rememberCarriers(const HostReading& reading);

    std::vector<Node> describeProcessors(const HostReading& reading) const;
    std::vector<Node> describeMemory(const HostReading& reading) const;
    std::vector<Node> describeDisks(const HostReading& reading) const;
    std::vector<Node> describeInterfaces(const HostReading& reading) const;
    std::vector<Node> describeTemperatures(const HostReading& reading) const;
    void addRates(Node& node, const std::string& name, const HostReading& reading) const;

    const std::string hostName;
    const std::string hostId;
    std::optional<HostReading> before;
    std::set<std::string> hadCarrier;
};

}  // namespace tarn::peers::host_monitor
