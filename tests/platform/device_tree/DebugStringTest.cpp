#include <gmock/gmock.h>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

TEST(DebugStringTest, HasOneLineANode) {
    DeviceNode track("track-1", "Track", DeviceClass::Generic);
    track.addProperty(Property("Path", Property::Type::Text, "/data"));
    track.addStatus(NamedStatus("Load", 12.5));
    track.addStatus(NamedStatus("Mode", "loop"));
    DeviceNode root("System", "The system", DeviceClass::System);
    root.setGlobalStatus({GlobalStatus::Level::Warning, "hot"});
    std::string error;
    root.addSubDevice(std::make_shared<DeviceNode>(track), true, error);

    EXPECT_EQ(root.debugString(0),
              "System \"The system\" (system): warning \"hot\"\n"
              "  track-1 \"Track\" (generic): unknown, Path: \"/data\", Load = 12.5, "
              "Mode = \"loop\"\n");
}

TEST(DebugStringTest, BeginsAsFarInAsToldTo) {
    const DeviceNode node("n", "", DeviceClass::LoopStorage);

    EXPECT_EQ(node.debugString(2), "    n \"\" (loop storage): unknown\n");
}

TEST(DebugStringTest, ShowsControlCharactersPrintable) {
    DeviceNode node("a\nb", "\x1b[0m", DeviceClass::Host);
    node.setGlobalStatus({GlobalStatus::Level::Error, "x\ty"});
    node.addProperty(Property("p\n", Property::Type::Text, "\n"));
    node.addStatus(NamedStatus("s\r", "\x01"));

    EXPECT_EQ(node.debugString(0),
              "a\\nb \"\\x1b[0m\" (host): error \"x\\ty\", p\\n: \"\\n\", s\\r = \"\\x01\"\n");
}

TEST(DebugStringTest, TellsAClassThatIsNotListed) {
    const DeviceNode node("n", "", static_cast<DeviceClass>(77));

    EXPECT_EQ(node.debugString(0), "n \"\" (unknown class): unknown\n");
}

}  // namespace tarn::device_tree
