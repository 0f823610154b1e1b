#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::test {

/// A device whose statuses and sub-devices change at random: the same for the same id and seed.
class RandomDevice {
  public:
    using Node = tarn::device_tree::DeviceNode;

    RandomDevice(const std::string& id, std::uint32_t seed);

    std::shared_ptr<Node> state() const { return std::make_shared<Node>(device); }

    /// One change, which may change nothing.
    void change();

  private:
    std::string anyPart();
    unsigned upTo(unsigned most) { return static_cast<unsigned>(random() % (most + 1)); }

    void addPart();
    void removePart();
    void changeValue();
    void changeLevel();
    void changeProperty();

    std::mt19937 random;
    Node device;
};

/// One line of JSON, with everything in the order of names and ids.
std::string toJson(const tarn::device_tree::DeviceNode& node);

}  // namespace tarn::test
