#include "benchmarks/support/SampleNode.h"

namespace tarn::benchmarks {

using device_tree::DeviceClass;
using device_tree::DeviceNode;
using device_tree::NamedStatus;
using device_tree::Property;

std::string idOf(std::int64_t number) {
    return "track-" + std::to_string(1000000 + number);
}

DeviceNode sampleNode(const std::string& id) {
    DeviceNode node(id, "Track " + id, DeviceClass::LoopStorage);
    node.addProperty(Property("Path", Property::Type::Text, "/data/loops/" + id));
    node.addProperty(Property("Size", Property::Type::Text, "1073741824"));
    node.addStatus(NamedStatus("Begin", std::uint64_t{0}));
    node.addStatus(NamedStatus("End", std::uint64_t{0}));
    node.addStatus(NamedStatus("Load", 0.0));
    return node;
}

}  // namespace tarn::benchmarks
