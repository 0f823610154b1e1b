#include <gmock/gmock.h>

#include "platform/device_tree/EventHelper.h"
#include "proto/monitoring.pb.h"
#include "tests/platform/device_tree/TreeModel.h"

namespace tarn::device_tree::utils {

namespace monitoring = tarn::proto::monitoring;
using Event = monitoring::DeviceToTarnServiceEvent;

namespace {

void applyStatuses(DeviceNode& node, const monitoring::StatusChangeEvent& changes) {
    for (const auto& change : changes.global_status_changes()) {
        ASSERT_EQ(node.updateGlobalStatus(change.device_id(), GlobalStatus(change.status())),
                  DeviceNode::StatusUpdate::Done);
    }
    for (const auto& change : changes.named_status_changes()) {
        ASSERT_EQ(node.updateStatusValue(change.device_id(), NamedStatus(change.status())),
                  DeviceNode::StatusUpdate::Done);
    }
}

/// What a follower of the events does.
void apply(DeviceNode& node, const Event& event) {
    if (event.type() == Event::STATUS_CHANGE) {
        applyStatuses(node, event.GetExtension(monitoring::StatusChangeEvent::base));
    } else {
        ASSERT_EQ(event.type(), Event::CONFIGURATION_CHANGE);
        node = DeviceNode(event.GetExtension(monitoring::ConfigurationChangeEvent::base).device());
    }
}

class RandomEventTest : public testing::TestWithParam<unsigned> {
  protected:
    /// Mostly of statuses, now and then of something else.
    void change(TreeModel& model) {
        TreeModel& node = model.at(models.below(model.size()));
        const NamedStatus status = models.status();
        switch (models.below(20)) {
            case 0:
                node.properties["p"] += "x";
                break;
            case 1:
                node.statuses.insert_or_assign(status.getName(), status.getValue());
                break;
            case 2:
                node.children["added"].id = "added";
                break;
            default:
                changeStatuses(node);
        }
    }

    void changeStatuses(TreeModel& node) {
        node.global = models.global();
        for (auto& [name, value] : node.statuses) {
            NamedStatus status(name, value);
            status.setValue(models.status().getValue());
            value = status.getValue();
        }
    }

    /// True when the event is of statuses.
    bool checkEventFrom(const DeviceNode& before, const DeviceNode& after) {
        Event event;
        if (!EventHelper::ComputeEvent(std::make_shared<DeviceNode>(before),
                                       std::make_shared<DeviceNode>(after), event)) {
            EXPECT_EQ(contentOf(before), contentOf(after));
            return false;
        }
        EXPECT_NE(contentOf(before), contentOf(after));
        DeviceNode follower = before;
        apply(follower, event);
        EXPECT_EQ(contentOf(follower), contentOf(after));
        return event.type() == Event::STATUS_CHANGE;
    }

    RandomModels models{GetParam()};
};

}  // namespace

TEST_P(RandomEventTest, LeadsFromTheTreeBeforeToTheTreeAfter) {
    int ofStatuses = 0;
    for (int round = 0; round < 100; ++round) {
        TreeModel model = models.tree(3);
        const DeviceNode before = model.toDeviceNode();
        for (std::size_t n = models.below(4); n > 0; --n) {
            change(model);
        }
        ofStatuses += checkEventFrom(before, DeviceNode(model.toProtoBuf())) ? 1 : 0;
    }
    EXPECT_GT(ofStatuses, 10);
}

TEST_P(RandomEventTest, LeadsFromASnapshotToTheTreeThatItWasTakenOf) {
    DeviceNode node = models.tree(4).toDeviceNode();
    std::string error;
    int ofStatuses = 0;
    for (int round = 0; round < 100; ++round) {
        const DeviceNode before = node;
        for (std::size_t n = models.below(4); n > 0; --n) {
            node.updateStatusValue(models.id(), models.status());
            node.updateGlobalStatus(models.id(), models.global());
        }
        if (models.below(5) == 0) {
            const auto added = std::make_shared<DeviceNode>(models.tree(3).toDeviceNode());
            node.addSubDevice(added, true, error);
        }
        if (models.below(5) == 0) {
            node.removeSubDevice(models.id(), true, error);
        }
        ofStatuses += checkEventFrom(before, node) ? 1 : 0;
    }
    EXPECT_GT(ofStatuses, 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEventTest, testing::Range(1U, 7U));

}  // namespace tarn::device_tree::utils
