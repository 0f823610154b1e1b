#include <gmock/gmock.h>

#include "proto/monitoring.pb.h"
#include "tests/platform/device_tree/TreeModel.h"

namespace tarn::device_tree {

namespace {

/// The same random operations on a tree and on its model.
class RandomTreeTest : public testing::TestWithParam<unsigned> {
  protected:
    RandomTreeTest() {
        model.id = "root";
        node = model.toDeviceNode();
    }

    void add() {
        const TreeModel added = models.tree(models.below(4));
        const bool replace = models.below(2) == 0;
        const bool expected = replace || model.children.count(added.id) == 0;
        const auto addedNode =
            models.below(2) == 0 ? DeviceNode(added.toProtoBuf()) : added.toDeviceNode();
        if (expected) {
            model.children[added.id] = added;
        }
        ASSERT_EQ(node.addSubDevice(std::make_shared<DeviceNode>(addedNode), replace, error),
                  expected);
    }

    /// Below one of the root's children, which is taken out and put back.
    void addFurtherDown() {
        if (model.children.empty()) {
            return;
        }
        const TreeModel added = models.tree(models.below(3));
        auto parent = std::next(model.children.begin(),
                                static_cast<int>(models.below(model.children.size())));
        parent->second.children[added.id] = added;
        for (auto& sub : node.getSubDevices()) {
            if (sub.getId() == parent->first) {
                sub.addSubDevice(std::make_shared<DeviceNode>(added.toDeviceNode()), true, error);
                node.addSubDevice(std::make_shared<DeviceNode>(sub), true, error);
            }
        }
    }

    void remove() {
        const std::string id = models.id();
        const bool deep = models.below(2) == 0;
        const bool expected = deep ? model.removeBelow(id) : model.children.erase(id) == 1;
        ASSERT_EQ(node.removeSubDevice(id, deep, error), expected);
    }

    void updateGlobal() {
        const std::string id = models.id();
        const GlobalStatus status = models.global();
        TreeModel* found = model.find(id);
        if (found) {
            found->global = status;
        }
        ASSERT_EQ(node.updateGlobalStatus(id, status),
                  found ? DeviceNode::StatusUpdate::Done : DeviceNode::StatusUpdate::NodeNotFound);
    }

    void updateStatus() {
        const std::string id = models.id();
        const NamedStatus status = models.status();
        ASSERT_EQ(node.updateStatusValue(id, status), updateStatusOfModel(id, status));
    }

    DeviceNode::StatusUpdate updateStatusOfModel(const std::string& id, const NamedStatus& status) {
        TreeModel* found = model.find(id);
        if (!found) {
            return DeviceNode::StatusUpdate::NodeNotFound;
        }
        const auto stored = found->statuses.find(status.getName());
        if (stored == found->statuses.end()) {
            return DeviceNode::StatusUpdate::StatusNotFound;
        }
        NamedStatus updated(stored->first, stored->second);
        updated.setValue(status.getValue());
        stored->second = updated.getValue();
        return DeviceNode::StatusUpdate::Done;
    }

    void change() {
        switch (models.below(8)) {
            case 0:
                return add();
            case 1:
                return addFurtherDown();
            case 2:
                return remove();
            case 3:
            case 4:
                return updateGlobal();
            default:
                return updateStatus();
        }
    }

    void expectSameLookUps(const DeviceNode& tree, TreeModel& treeModel) {
        ASSERT_EQ(tree.size(), treeModel.size());
        for (int i = 0; i < 60; ++i) {
            const std::string id = "id" + std::to_string(i);
            const auto found = tree.getDeviceById(id);
            const TreeModel* expected = treeModel.find(id);
            ASSERT_EQ(found != nullptr, expected != nullptr) << id;
            ASSERT_TRUE(!found || contentOf(*found) == contentOf(*expected)) << id;
        }
    }

    RandomModels models{GetParam()};
    TreeModel model;
    DeviceNode node{"", "", DeviceClass::Generic};
    std::string error;
};

}  // namespace

TEST_P(RandomTreeTest, AgreesWithItsModel) {
    for (int step = 0; step < 400; ++step) {
        ASSERT_NO_FATAL_FAILURE(change());
        ASSERT_EQ(contentOf(node), contentOf(model));
        if (step % 10 == 0) {
            ASSERT_NO_FATAL_FAILURE(expectSameLookUps(node, model));
        }
    }
}

TEST_P(RandomTreeTest, LeavesSnapshotsAsTheyWere) {
    std::vector<std::pair<DeviceNode, TreeModel>> snapshots;
    for (int step = 0; step < 300; ++step) {
        ASSERT_NO_FATAL_FAILURE(change());
        if (models.below(10) == 0) {
            snapshots.emplace_back(node, model);
        }
    }
    for (auto& [nodeThen, modelThen] : snapshots) {
        ASSERT_EQ(contentOf(nodeThen), contentOf(modelThen));
        ASSERT_NO_FATAL_FAILURE(expectSameLookUps(nodeThen, modelThen));
    }
}

TEST_P(RandomTreeTest, LetsItsSnapshotsBeChangedLikeItself) {
    for (int round = 0; round < 20; ++round) {
        const DeviceNode nodeBefore = node;
        const TreeModel modelBefore = model;
        for (int step = 0; step < 20; ++step) {
            ASSERT_NO_FATAL_FAILURE(change());
        }
        ASSERT_EQ(contentOf(node), contentOf(model));
        if (models.below(2) == 0) {
            node = nodeBefore;
            model = modelBefore;
        }
    }
}

TEST_P(RandomTreeTest, GivesNodesThatAgreeWithTheirModels) {
    for (int step = 0; step < 200; ++step) {
        ASSERT_NO_FATAL_FAILURE(change());
    }
    for (int step = 0; step < 30; ++step) {
        const std::string id = models.id();
        const auto found = node.getDeviceById(id);
        if (found) {
            TreeModel expected = *model.find(id);
            ASSERT_NO_FATAL_FAILURE(expectSameLookUps(*found, expected));
        }
    }
}

TEST_P(RandomTreeTest, EqualsTheSameTreeBuiltInAnotherWay) {
    for (int step = 0; step < 200; ++step) {
        ASSERT_NO_FATAL_FAILURE(change());
    }
    EXPECT_EQ(node, model.toDeviceNode());
    EXPECT_EQ(node, DeviceNode(model.toProtoBuf()));
    TreeModel& changed = model.at(models.below(model.size()));
    changed.properties["q"] = "added";
    EXPECT_NE(node, model.toDeviceNode());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTreeTest, testing::Range(1U, 7U));

}  // namespace tarn::device_tree
