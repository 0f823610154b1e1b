#pragma once

#include <functional>
#include <map>
#include <random>
#include <string>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

/// A device tree as plainly as it can be written: what the real one is compared with.
struct TreeModel {
    std::string id;
    std::string name;
    DeviceClass deviceClass = DeviceClass::Generic;
    GlobalStatus global;
    std::map<std::string, std::string> properties;
    std::map<std::string, NamedStatus::Value> statuses;
    std::map<std::string, TreeModel> children;

    std::size_t size() const;

    /// The first in walking order; null when there is none.
    TreeModel* find(const std::string& wanted);
    bool removeBelow(const std::string& wanted);

    /// The `number`th in walking order, from 0.
    TreeModel& at(std::size_t number);

    tarn::proto::monitoring::DeviceNode toProtoBuf() const;
    /// The same tree, built up node by node.
    DeviceNode toDeviceNode() const;
};

/// All that there is to see of both.
std::string contentOf(const TreeModel& model);
std::string contentOf(const DeviceNode& node);

/// Of few different ids and names, so that they repeat.
class RandomModels {
  public:
    explicit RandomModels(unsigned seed) : random(seed) {}

    std::size_t below(std::size_t limit);
    std::string id();
    GlobalStatus global();
    NamedStatus status();
    TreeModel tree(std::size_t levels);

    /// Changes one thing of the tree, or nothing: a status, or sub-devices.
    void change(DeviceNode& root);

  private:
    std::mt19937 random;
};

}  // namespace tarn::device_tree
