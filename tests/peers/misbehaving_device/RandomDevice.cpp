#include "tests/peers/misbehaving_device/RandomDevice.h"

#include <google/protobuf/util/json_util.h>

#include "proto/monitoring.pb.h"

namespace tarn::test {

using namespace tarn::device_tree;

namespace {

constexpr unsigned mostParts = 8;

GlobalStatus makeStatus(unsigned level) {
    return {static_cast<GlobalStatus::Level>(level), "Level " + std::to_string(level)};
}

}  // namespace

RandomDevice::RandomDevice(const std::string& id, std::uint32_t seed)
    : random(seed), device(id, "Random " + id, DeviceClass::Generic) {
    device.addStatus(NamedStatus("Value", std::uint64_t{0}));
    device.addProperty(Property("Colour", Property::Type::Text, "0"));
}

void RandomDevice::change() {
    switch (upTo(9)) {
        case 0:
            return addPart();
        case 1:
            return removePart();
        case 2:
            return changeProperty();
        case 3:
        case 4:
            return changeLevel();
        default:
            return changeValue();
    }
}

std::string RandomDevice::anyPart() {
    const auto number = upTo(mostParts);
    return number == 0 ? device.getId() : device.getId() + "." + std::to_string(number);
}

void RandomDevice::addPart() {
    const auto id = device.getId() + "." + std::to_string(1 + upTo(mostParts - 1));
    auto part = std::make_shared<Node>(id, "Part " + id, DeviceClass::Generic);
    part->addStatus(NamedStatus("Value", std::uint64_t{upTo(3)}));
    std::string error;
    device.addSubDevice(part, /*replace=*/true, error);
}

void RandomDevice::removePart() {
    const auto id = anyPart();
    std::string error;
    if (id != device.getId()) {
        device.removeSubDevice(id, /*deep=*/false, error);
    }
}

void RandomDevice::changeValue() {
    device.updateStatusValue(anyPart(), NamedStatus("Value", std::uint64_t{upTo(1000)}));
}

void RandomDevice::changeLevel() {
    device.updateGlobalStatus(anyPart(), makeStatus(upTo(3)));
}

void RandomDevice::changeProperty() {
    device.addProperty(Property("Colour", Property::Type::Text, std::to_string(upTo(3))));
}

std::string toJson(const tarn::device_tree::DeviceNode& node) {
    std::string json;
    const auto status = google::protobuf::util::MessageToJsonString(node.toProtoBuf(), &json);
    return status.ok() ? json : std::string(status.message());
}

}  // namespace tarn::test
