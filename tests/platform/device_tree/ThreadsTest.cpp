#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Synchronised.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

constexpr int subDevices = 50;

std::string idOf(int number) {
    return "device-" + std::to_string(number);
}

DeviceNode flatTree() {
    DeviceNode root("root", "", DeviceClass::System);
    std::string error;
    for (int i = 0; i < subDevices; ++i) {
        DeviceNode node(idOf(i), "", DeviceClass::Generic);
        node.addStatus(NamedStatus("round", std::int64_t{0}));
        root.addSubDevice(std::make_shared<DeviceNode>(node), false, error);
    }
    return root;
}

std::int64_t roundOf(const DeviceNode& node) {
    return std::get<std::int64_t>(node.getStatus("round")->getValue());
}

/// Every device says the same round in a snapshot between two rounds.
bool isOfOneRound(const DeviceNode& snapshot) {
    const auto devices = snapshot.getSubDevices();
    for (const auto& device : devices) {
        if (roundOf(device) != roundOf(devices.front())) {
            return false;
        }
    }
    return devices.size() == subDevices &&
           roundOf(*snapshot.getDeviceById(idOf(7))) == roundOf(devices.front()) &&
           DeviceNode(snapshot.toProtoBuf()) == snapshot;
}

void playRound(DeviceNode& tree, std::int64_t round) {
    for (int i = 0; i < subDevices; ++i) {
        tree.updateStatusValue(idOf(i), NamedStatus("round", round));
    }
    std::string error;
    const auto moved = tree.getDeviceById(idOf(static_cast<int>(round) % subDevices));
    tree.removeSubDevice(moved->getId(), true, error);
    tree.addSubDevice(moved, false, error);
}

}  // namespace

TEST(ThreadsTest, ReadSnapshotsWhileTheOwnerChangesTheTree) {
    DeviceNode tree = flatTree();
    utils::Synchronised<DeviceNode> latest(tree);
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    std::vector<std::jthread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const DeviceNode snapshot = *latest.lock();
                wrong += isOfOneRound(snapshot) ? 0 : 1;
            }
        });
    }
    for (std::int64_t round = 1; round <= 200; ++round) {
        playRound(tree, round);
        *latest.lock() = tree;
    }
    done = true;
    readers.clear();

    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(isOfOneRound(tree));
    EXPECT_EQ(roundOf(tree.getSubDevices().front()), 200);
}

TEST(ThreadsTest, ChangeTheirCopiesOfOneTree) {
    const DeviceNode original = flatTree();
    std::atomic<int> wrong = 0;
    std::vector<std::jthread> writers;
    for (int i = 1; i <= 3; ++i) {
        writers.emplace_back([i, copy = original, &wrong]() mutable {
            for (std::int64_t round = 1; round <= 100; ++round) {
                playRound(copy, i * 1000 + round);
                wrong += isOfOneRound(copy) ? 0 : 1;
            }
        });
    }
    writers.clear();

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(roundOf(original.getSubDevices().front()), 0);
}

}  // namespace tarn::device_tree
