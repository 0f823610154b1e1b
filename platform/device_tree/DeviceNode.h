#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/device_tree/GlobalStatus.h"
#include "platform/device_tree/NamedStatus.h"
#include "platform/device_tree/Property.h"
#include "platform/device_tree/persistent/CopyOnWrite.h"
#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {

class Tree;

/// By number: the classes of the monitoring protocol.
enum class DeviceClass : std::uint32_t {
    Generic = 0,
    System = 1,
    Capture = 2,
    LoopStorage = 3,
    Host = 4
};

/// A device with its sub-devices: a value. Copying costs the same for every size of tree, since
/// copies share what they have in common, and a copy never sees later changes of its original: it
/// is a snapshot. Looking a node up by id does not grow with the tree either.
///
/// One object is used by one thread at a time; copies of it may be used by other threads meanwhile.
///
/// Ids should be unique in a tree. Where one repeats, look-ups find the node that comes first when
/// the tree is walked from its root, sub-devices in the order of their ids.
class DeviceNode {
  public:
    DeviceNode(std::string id, std::string name, DeviceClass deviceClass);

    /// An absent field is the field's default. A sub-device whose id repeats beside another
    /// replaces the earlier one. Nodes more than 100 levels deep are left out.
    explicit DeviceNode(const tarn::proto::monitoring::DeviceNode& message);

    DeviceNode(const DeviceNode&);
    DeviceNode(DeviceNode&&) noexcept;
    DeviceNode& operator=(const DeviceNode&);
    DeviceNode& operator=(DeviceNode&&) noexcept;
    ~DeviceNode();

    const std::string& getId() const;
    const std::string& getName() const;
    DeviceClass getDeviceClass() const;
    const GlobalStatus& getGlobalStatus() const;

    /// Null when absent. Valid as long as this object is neither changed nor destroyed.
    const Property* getProperty(const std::string& name) const;
    const NamedStatus* getStatus(const std::string& name) const;

    /// In the order of their names, or ids.
    std::vector<Property> getProperties() const;
    std::vector<NamedStatus> getStatuses() const;
    std::vector<DeviceNode> getSubDevices() const;

    /// This node or one anywhere below; null when no node of the tree has that id. The result is a
    /// snapshot of that node: changing it does not change this tree.
    std::shared_ptr<DeviceNode> getDeviceById(const std::string& id) const;

    /// A sub-device of this node itself; null when there is none of that id. A snapshot likewise.
    std::shared_ptr<DeviceNode> getSubDevice(const std::string& id) const;

    /// Nodes in the tree, this one included.
    std::size_t size() const;

    // Changes of this node itself. A property or status of the same name is replaced.
    void setGlobalStatus(GlobalStatus status);
    void addProperty(Property property);
    void addStatus(NamedStatus status);

    enum class StatusUpdate { Done, NodeNotFound, StatusNotFound };

    /// Changes of a node anywhere in the tree, this one included.
    StatusUpdate updateGlobalStatus(const std::string& id, const GlobalStatus& status);
    /// Takes over the value only: name and type of the stored status stay.
    StatusUpdate updateStatusValue(const std::string& id, const NamedStatus& status);

    /// Adds a sub-device of this node. With `replace`, an existing one of that id is replaced;
    /// without, it is an error. False with the reason in `error`.
    bool addSubDevice(std::shared_ptr<DeviceNode> node, bool replace, std::string& error);

    /// Removes a sub-device of this node; with `deep`, from anywhere below. False with the reason
    /// in `error` when there is none of that id.
    bool removeSubDevice(const std::string& id, bool deep, std::string& error);

    tarn::proto::monitoring::DeviceNode toProtoBuf() const;

    /// Replaces what the message holds, but reuses its memory: a fraction of the cost where a tree
    /// is told again and again, or where the message lives in an arena.
    void toProtoBuf(tarn::proto::monitoring::DeviceNode& message) const;

    /// The tree in lines, each two blanks deeper than its parent's; `indent` levels to begin with.
    std::string debugString(unsigned indent) const;

    /// The same content all the way down; NaN equals NaN. Shared parts are not compared.
    friend bool operator==(const DeviceNode& a, const DeviceNode& b);

  private:
    friend class TreeDifference;
    friend class TreeSerialiser;

    explicit DeviceNode(Tree ofNode);

    CopyOnWrite<Tree> tree;
};

}  // namespace tarn::device_tree
