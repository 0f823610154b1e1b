#include "platform/device_tree/persistent/Content.h"

namespace tarn::device_tree {

int ById::compare(std::string_view id, const CopyOnWrite<Content>& content) {
    return id.compare(content->description->id);
}

int ById::compare(const CopyOnWrite<Content>& a, const CopyOnWrite<Content>& b) {
    return compare(a->description->id, b);
}

bool areEqual(const Description& a, const Description& b) {
    return a.id == b.id && a.name == b.name && a.deviceClass == b.deviceClass &&
           a.properties == b.properties;
}

CopyOnWrite<Content> makeContent(std::string id, std::string name, DeviceClass deviceClass) {
    auto result = CopyOnWrite<Content>::make();
    Content& content = result.writable();
    content.description =
        CopyOnWrite<Description>::make(std::move(id), std::move(name), deviceClass);
    content.state = CopyOnWrite<NodeState>::make();
    return result;
}

}  // namespace tarn::device_tree
