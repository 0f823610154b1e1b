#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/persistent/CopyOnWrite.h"
#include "platform/device_tree/persistent/PersistentSet.h"

namespace tarn::device_tree {

/// What seldom changes.
struct Description : Counted<Description> {
    Description(std::string nodeId, std::string nodeName, DeviceClass nodeClass)
        : id(std::move(nodeId)), name(std::move(nodeName)), deviceClass(nodeClass) {}

    std::string id;  // never changes
    std::string name;
    DeviceClass deviceClass;
    std::vector<Property> properties;  // by name
};

bool areEqual(const Description& a, const Description& b);

/// What changes often.
struct NodeState : Counted<NodeState> {
    GlobalStatus global;
    std::vector<NamedStatus> statuses;  // by name
};

struct Content;

struct ById {
    static int compare(std::string_view id, const CopyOnWrite<Content>& content);
    static int compare(const CopyOnWrite<Content>& a, const CopyOnWrite<Content>& b);
};

/// A node with all below it. It does not know where it hangs, so that trees can share it.
struct Content : Counted<Content> {
    CopyOnWrite<Description> description;
    CopyOnWrite<NodeState> state;
    PersistentSet<CopyOnWrite<Content>, ById> children;
    std::uint32_t size = 1;  // nodes, this one included
};

CopyOnWrite<Content> makeContent(std::string id, std::string name, DeviceClass deviceClass);

}  // namespace tarn::device_tree
