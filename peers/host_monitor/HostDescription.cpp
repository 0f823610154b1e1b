#include "peers/host_monitor/HostDescription.h"

#include <utility>

#include "peers/host_monitor/readings/Rounding.h"
#include "platform/utils/Log.h"

namespace tarn::peers::host_monitor {

using tarn::device_tree::DeviceClass;
using tarn::device_tree::DeviceNode;
using tarn::device_tree::NamedStatus;
using tarn::device_tree::Property;

namespace {

void addText(DeviceNode& node, const std::string& name, const std::string& value) {
    node.addProperty(Property(name, Property::Type::Text, value));
}

double secondsBetween(const HostReading& before, const HostReading& after) {
    return std::chrono::duration<double>(after.time - before.time).count();
}

// A counter that ran backwards was started anew.
std::uint64_t rateOf(std::uint64_t before, std::uint64_t after, double seconds) {
    const bool hasGrown = after > before && seconds > 0;
    return hasGrown ? toThreeDigits(static_cast<double>(after - before) / seconds) : 0;
}

void addParts(DeviceNode& host, std::vector<NamedHealth>& health, std::vector<DeviceNode> parts) {
    for (auto& part : parts) {
        health.push_back({part.getName(), part.getGlobalStatus()});
        std::string error;
        if (!host.addSubDevice(std::make_shared<DeviceNode>(std::move(part)), /*replace=*/true,
                               error)) {
            utils::logError("Cannot describe a part of the machine: " + error);
        }
    }
}

}  // namespace

HostDescription::HostDescription(std::string name)
    : hostName(std::move(name)), hostId("Host-" + hostName) {}

std::shared_ptr<DeviceNode> HostDescription::describe(HostReading reading) {
    rememberCarriers(reading);
    auto host = std::make_shared<DeviceNode>(hostId, hostName, DeviceClass::Host);
    std::vector<NamedHealth> health;
    addParts(*host, health, describeProcessors(reading));
    addParts(*host, health, describeMemory(reading));
    addParts(*host, health, describeDisks(reading));
    addParts(*host, health, describeInterfaces(reading));
    addParts(*host, health, describeTemperatures(reading));
    host->setGlobalStatus(worstOf(health));
    addText(*host, "Kernel", reading.kernel);
    if (const auto all = reading.processors.find(allProcessors); all != reading.processors.end()) {
        host->addStatus(NamedStatus("Load", loadOf(allProcessors, all->second)));
    }
    before = std::move(reading);
    return host;
}

DeviceNode HostDescription::makePart(const std::string& kind, const std::string& id,
                                     const std::string& name) const {
    return {hostId + "." + kind + "." + id, name, DeviceClass::Generic};
}

// The first one is the load since the machine's start.
double HostDescription::loadOf(int processor, const ProcessorTicks& ticks) const {
    if (before) {
        const auto earlier = before->processors.find(processor);
        if (earlier != before->processors.end()) {
            return loadBetween(earlier->second, ticks);
        }
    }
    return loadBetween({}, ticks);
}

void HostDescription::rememberCarriers(const HostReading& reading) {
    std::erase_if(hadCarrier, [&](const auto& name) { return !reading.interfaces.contains(name); });
    for (const auto& [name, interface] : reading.interfaces) {
        if (interface.hasCarrier) {
            hadCarrier.insert(name);
        }
    }
}

std::vector<DeviceNode> HostDescription::describeProcessors(const HostReading& reading) const {
    std::vector<DeviceNode> nodes;
    for (const auto& [number, ticks] : reading.processors) {
        if (number == allProcessors) {
            continue;
        }
        const auto id = std::to_string(number);
        auto& node = nodes.emplace_back(makePart("processor", id, "Processor " + id));
        node.setGlobalStatus(healthy());
        node.addStatus(NamedStatus("Load", loadOf(number, ticks)));
    }
    return nodes;
}

std::vector<DeviceNode> HostDescription::describeMemory(const HostReading& reading) const {
    if (!reading.memory) {
        return {};
    }
    const auto& [total, available] = *reading.memory;
    DeviceNode node(hostId + ".memory", "Memory", DeviceClass::Generic);
    node.setGlobalStatus(healthOf(*reading.memory));
    node.addStatus(NamedStatus("Total", total));
    node.addStatus(NamedStatus("Available", toThousandths(available, total)));
    node.addStatus(NamedStatus(
        "Used", percentOf(static_cast<double>(total - available), static_cast<double>(total))));
    return {node};
}

std::vector<DeviceNode> HostDescription::describeDisks(const HostReading& reading) const {
    std::vector<DeviceNode> nodes;
    for (const auto& [mount, space] : reading.disks) {
        auto& node = nodes.emplace_back(makePart("disk", mount.point, "Disk " + mount.point));
        node.setGlobalStatus(healthOf(space));
        addText(node, "Device", mount.source);
        addText(node, "FileSystem", mount.type);
        node.addStatus(NamedStatus("Size", space.size));
        node.addStatus(NamedStatus("Free", toThousandths(space.free, space.size)));
        node.addStatus(NamedStatus("Used", space.usedPercent()));
    }
    return nodes;
}

std::vector<DeviceNode> HostDescription::describeInterfaces(const HostReading& reading) const {
    std::vector<DeviceNode> nodes;
    for (const auto& [name, interface] : reading.interfaces) {
        auto& node = nodes.emplace_back(makePart("network", name, "Network " + name));
        node.setGlobalStatus(healthOf(
            interface, hadCarrier.contains(name) ? CarrierHistory::Had : CarrierHistory::Never));
        node.addStatus(NamedStatus("State", interface.state));
        node.addStatus(NamedStatus("ReceiveErrors", interface.counters.receiveErrors));
        node.addStatus(NamedStatus("SendErrors", interface.counters.sendErrors));
        addRates(node, name, reading);
    }
    return nodes;
}

void HostDescription::addRates(DeviceNode& node, const std::string& name,
                               const HostReading& reading) const {
    std::uint64_t received = 0;
    std::uint64_t sent = 0;
    if (before && before->interfaces.contains(name)) {
        const auto& earlier = before->interfaces.at(name).counters;
        const auto& now = reading.interfaces.at(name).counters;
        const auto seconds = secondsBetween(*before, reading);
        received = rateOf(earlier.receivedBytes, now.receivedBytes, seconds);
        sent = rateOf(earlier.sentBytes, now.sentBytes, seconds);
    }
    node.addStatus(NamedStatus("ReceivedPerSecond", received));
    node.addStatus(NamedStatus("SentPerSecond", sent));
}

std::vector<DeviceNode> HostDescription::describeTemperatures(const HostReading& reading) const {
    std::vector<DeviceNode> nodes;
    for (const auto& temperature : reading.temperatures) {
        auto& node = nodes.emplace_back(
            makePart("temperature", temperature.id, "Temperature " + temperature.name));
        node.setGlobalStatus(healthOf(temperature));
        node.addStatus(NamedStatus("Degrees", toHalves(temperature.degrees)));
    }
    return nodes;
}

}  // namespace tarn::peers::host_monitor
