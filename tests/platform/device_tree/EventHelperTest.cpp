#include "platform/device_tree/EventHelper.h"

#include <gmock/gmock.h>

#include <limits>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree::utils {

namespace monitoring = tarn::proto::monitoring;
using Event = monitoring::DeviceToTarnServiceEvent;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Node = std::shared_ptr<DeviceNode>;

Node copyOf(const Node& node) {
    return std::make_shared<DeviceNode>(*node);
}

/// The same content, none of it shared.
Node strangerLike(const Node& node) {
    return std::make_shared<DeviceNode>(node->toProtoBuf());
}

/// root (status s) > (a (status s) > a1, b)
Node tree() {
    std::string error;
    const auto a1 = std::make_shared<DeviceNode>("a1", "", DeviceClass::Generic);
    const auto a = std::make_shared<DeviceNode>("a", "", DeviceClass::Generic);
    const auto b = std::make_shared<DeviceNode>("b", "", DeviceClass::Generic);
    const auto root = std::make_shared<DeviceNode>("root", "", DeviceClass::Host);
    for (const auto& node : {root, a, a1, b}) {
        node->addStatus(NamedStatus("s", 0.0));
        node->addStatus(NamedStatus("t", "text"));
    }
    a->addSubDevice(a1, false, error);
    root->addSubDevice(a, false, error);
    root->addSubDevice(b, false, error);
    return root;
}

const GlobalStatus hot(GlobalStatus::Level::Warning, "hot");

class ComputeEventTest : public testing::Test {
  protected:
    /// UNKNOWN when nothing differs. Trees that share nothing have to give the same.
    Event::Type typeOf(const Node& from, const Node& to) {
        event.Clear();
        const bool differs = EventHelper::ComputeEvent(from, to, event);
        EXPECT_EQ(differs, event.has_type());
        if (from && to) {
            Event ofStrangers;
            EventHelper::ComputeEvent(from, strangerLike(to), ofStrangers);
            EXPECT_EQ(ofStrangers.SerializeAsString(), event.SerializeAsString());
        }
        return event.type();
    }

    std::vector<std::string> globals() {
        std::vector<std::string> result;
        for (const auto& change :
             event.GetExtension(monitoring::StatusChangeEvent::base).global_status_changes()) {
            result.push_back(change.device_id() + ": " + change.status().description());
        }
        return result;
    }

    std::vector<std::string> named() {
        std::vector<std::string> result;
        for (const auto& change :
             event.GetExtension(monitoring::StatusChangeEvent::base).named_status_changes()) {
            result.push_back(change.device_id() + ": " + change.status().name());
        }
        return result;
    }

    void expectConfigurationChange(const Node& after) {
        EXPECT_EQ(typeOf(before, after), Event::CONFIGURATION_CHANGE);
        const auto& message = event.GetExtension(monitoring::ConfigurationChangeEvent::base);
        EXPECT_EQ(DeviceNode(message.device()), *after);
    }

    const Node before = tree();
    Event event;
    std::string error;
};

}  // namespace

TEST_F(ComputeEventTest, TellsADeviceThatAppears) {
    EXPECT_EQ(typeOf(nullptr, before), Event::DEVICE_ADD);
    EXPECT_EQ(DeviceNode(event.GetExtension(monitoring::DeviceAddEvent::base).device()), *before);
}

TEST_F(ComputeEventTest, TellsADeviceThatIsGone) {
    EXPECT_EQ(typeOf(before, nullptr), Event::DEVICE_REMOVE);
    EXPECT_EQ(event.GetExtension(monitoring::DeviceRemoveEvent::base).device_id(), "root");
}

TEST_F(ComputeEventTest, LeavesTheEventAloneWhenNothingDiffers) {
    event.set_type(Event::SHUTDOWN);
    const std::string untouched = event.SerializeAsString();

    EXPECT_FALSE(EventHelper::ComputeEvent(nullptr, nullptr, event));
    EXPECT_FALSE(EventHelper::ComputeEvent(before, before, event));
    EXPECT_FALSE(EventHelper::ComputeEvent(before, copyOf(before), event));
    EXPECT_FALSE(EventHelper::ComputeEvent(before, tree(), event));
    EXPECT_EQ(event.SerializeAsString(), untouched);
}

TEST_F(ComputeEventTest, ReplacesWhatTheEventHeld) {
    event.MutableExtension(monitoring::ShutdownEvent::base)->set_device_id("old");

    EXPECT_TRUE(EventHelper::ComputeEvent(before, nullptr, event));

    EXPECT_FALSE(event.HasExtension(monitoring::ShutdownEvent::base));
}

TEST_F(ComputeEventTest, TellsJustTheStatusesThatDifferInWalkingOrder) {
    const Node after = copyOf(before);
    after->updateStatusValue("b", NamedStatus("s", 1.0));
    after->updateGlobalStatus("b", hot);
    after->updateStatusValue("a1", NamedStatus("t", "new"));
    after->updateStatusValue("a1", NamedStatus("s", 2.0));
    after->updateGlobalStatus("a", hot);
    after->updateStatusValue("root", NamedStatus("s", 3.0));

    EXPECT_EQ(typeOf(before, after), Event::STATUS_CHANGE);

    EXPECT_THAT(globals(), ElementsAre("a: hot", "b: hot"));
    EXPECT_THAT(named(), ElementsAre("root: s", "a1: s", "a1: t", "b: s"));
    const auto& changes = event.GetExtension(monitoring::StatusChangeEvent::base);
    EXPECT_EQ(NamedStatus(changes.named_status_changes(1).status()), NamedStatus("s", 2.0));
}

TEST_F(ComputeEventTest, TellsALevelOrADescriptionThatDiffers) {
    const Node after = copyOf(before);
    after->updateGlobalStatus("a", {GlobalStatus::Level::Ok, ""});

    EXPECT_EQ(typeOf(before, after), Event::STATUS_CHANGE);
    EXPECT_THAT(globals(), ElementsAre("a: "));
    EXPECT_THAT(named(), IsEmpty());
}

TEST_F(ComputeEventTest, TakesNanForEqualToNan) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Node after = copyOf(before);
    after->updateStatusValue("a1", NamedStatus("s", nan));
    EXPECT_EQ(typeOf(before, after), Event::STATUS_CHANGE);

    EXPECT_EQ(typeOf(after, strangerLike(after)), Event::UNKNOWN);
    EXPECT_EQ(*after, *strangerLike(after));
}

TEST_F(ComputeEventTest, TakesOtherNodesForAnotherConfiguration) {
    const Node added = copyOf(before);
    added->addSubDevice(std::make_shared<DeviceNode>("c", "", DeviceClass::Generic), true, error);
    expectConfigurationChange(added);

    const Node removed = copyOf(before);
    removed->removeSubDevice("a1", true, error);
    expectConfigurationChange(removed);

    const Node exchanged = copyOf(added);
    exchanged->removeSubDevice("b", true, error);
    expectConfigurationChange(exchanged);
}

TEST_F(ComputeEventTest, TakesOtherPropertiesForAnotherConfiguration) {
    const Node after = copyOf(before);
    after->addProperty(Property("p", Property::Type::Text, ""));
    expectConfigurationChange(after);
}

TEST_F(ComputeEventTest, TakesOtherStatusesForAnotherConfiguration) {
    const Node added = copyOf(before);
    added->addStatus(NamedStatus("u", 0.0));
    expectConfigurationChange(added);

    const Node ofAnotherType = copyOf(before);
    ofAnotherType->addStatus(NamedStatus("s", std::int64_t{0}));
    expectConfigurationChange(ofAnotherType);
}

TEST_F(ComputeEventTest, TakesAnotherNameClassOrIdForAnotherConfiguration) {
    const auto a = std::make_shared<DeviceNode>("a", "", DeviceClass::Generic);
    const auto strangers = {std::make_shared<DeviceNode>("b", "", DeviceClass::Generic),
                            std::make_shared<DeviceNode>("a", "n", DeviceClass::Generic),
                            std::make_shared<DeviceNode>("a", "", DeviceClass::Host)};
    for (const auto& after : strangers) {
        EXPECT_EQ(typeOf(a, after), Event::CONFIGURATION_CHANGE) << after->debugString(0);
    }
}

TEST_F(ComputeEventTest, TakesStatusesBesidesAnotherConfigurationForTheLatter) {
    const Node after = copyOf(before);
    after->updateGlobalStatus("a", hot);
    after->removeSubDevice("b", true, error);
    expectConfigurationChange(after);
}

TEST_F(ComputeEventTest, DoesNotNameAnIdThatLeadsToAnotherNode) {
    const auto second = std::make_shared<DeviceNode>("a1", "", DeviceClass::Generic);
    const auto c = std::make_shared<DeviceNode>("c", "", DeviceClass::Generic);
    c->addSubDevice(second, true, error);
    before->addSubDevice(c, true, error);
    const Node firstChanged = copyOf(before);
    firstChanged->updateGlobalStatus("a1", hot);
    c->updateGlobalStatus("a1", hot);
    const Node secondChanged = copyOf(before);
    secondChanged->addSubDevice(c, true, error);

    EXPECT_EQ(typeOf(before, firstChanged), Event::STATUS_CHANGE);
    EXPECT_THAT(globals(), ElementsAre("a1: hot"));
    expectConfigurationChange(secondChanged);
}

TEST_F(ComputeEventTest, DoesNotNameTheRootsIdForANodeBelow) {
    const auto below = std::make_shared<DeviceNode>("root", "", DeviceClass::Generic);
    before->addSubDevice(below, true, error);
    below->setGlobalStatus(hot);
    const Node after = copyOf(before);
    after->addSubDevice(below, true, error);

    expectConfigurationChange(after);
}

TEST_F(ComputeEventTest, ComparesPartsOfLargerTrees) {
    const Node after = copyOf(before);
    after->updateGlobalStatus("a1", hot);

    EXPECT_EQ(typeOf(before->getDeviceById("a"), after->getDeviceById("a")), Event::STATUS_CHANGE);
    EXPECT_THAT(globals(), ElementsAre("a1: hot"));
    EXPECT_EQ(typeOf(before->getDeviceById("b"), after->getDeviceById("b")), Event::UNKNOWN);
}

}  // namespace tarn::device_tree::utils
